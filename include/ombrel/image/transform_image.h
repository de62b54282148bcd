// Conversion of image blocks between memory orders and element types, in one pass.
#pragma once

#include <cstdint>

#include "ombrel/export.h"
#include "ombrel/image/data_types.h"

namespace OMB::ImageUtils {

/// Converts the dense block at `src` into the dense block at `dst`. Both hold width * height *
/// channels elements, a count that must fit a signed 32-bit integer. Note the order of the sizes.
///
/// Each sample is widened to a float, multiplied by the scale of the pair in single precision, and
/// stored: S -> D is byte -> float with 1/255, float -> byte with 255, equal types with 1. A byte
/// target takes the low 8 bits of the product truncated toward zero: no rounding, no clamping. NaN,
/// infinities and products outside the signed 32-bit range give 0. Channels are never reordered.
///
/// Returns false, with nothing written, if a pointer is null or a size is below 1; else true.
/// Layout values outside the enumeration count as HWC -> CHW when they differ. Throws nothing.
///
/// The blocks must not overlap, except that `src` may equal `dst` where S is D and the order stays.
/// Threads: no shared state; any number of conversions may run at once on distinct targets.
///
/// Instantiated for S and D of unsigned char and float, and for nothing else.
template <typename S, typename D>
[[nodiscard]] bool TransformImage(const S* src, D* dst, std::int32_t width, std::int32_t height,
                                  std::int32_t channels, ELayoutType srcLayout,
                                  ELayoutType dstLayout);

extern template OMBREL_API bool TransformImage<unsigned char, unsigned char>(
    const unsigned char*, unsigned char*, std::int32_t, std::int32_t, std::int32_t, ELayoutType,
    ELayoutType);
extern template OMBREL_API bool TransformImage<unsigned char, float>(const unsigned char*, float*,
                                                                     std::int32_t, std::int32_t,
                                                                     std::int32_t, ELayoutType,
                                                                     ELayoutType);
extern template OMBREL_API bool TransformImage<float, unsigned char>(const float*, unsigned char*,
                                                                     std::int32_t, std::int32_t,
                                                                     std::int32_t, ELayoutType,
                                                                     ELayoutType);
extern template OMBREL_API bool TransformImage<float, float>(const float*, float*, std::int32_t,
                                                             std::int32_t, std::int32_t,
                                                             ELayoutType, ELayoutType);

/// Converts the dense HWC block at `data` into a new array of width * height * channels floats in
/// CHW order, by the sample rule above: floats are copied, bytes (any `format` but FP32) scaled by
/// 1/255.
///
/// The caller owns the array and releases it with delete[]. `data` stays the caller's; it must not
/// be null when the sizes are positive. No argument is tested: a count of 0 gives an empty array,
/// two negative sizes an uninitialised one. Throws std::bad_alloc when the allocation fails or the
/// count is negative or does not fit a signed 32-bit integer.
[[nodiscard]] OMBREL_API float* TransformImage(const void* data, std::int32_t width,
                                               std::int32_t height, std::int32_t channels,
                                               EFormat format);

}  // namespace OMB::ImageUtils
