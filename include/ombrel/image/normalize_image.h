// From an image to the input of a network that was trained on normalised samples, in one pass.
#pragma once

#include <cstdint>

#include "ombrel/export.h"
#include "ombrel/image/data_types.h"

namespace OMB::ImageUtils {

/// Mean and standard deviation of the samples of one channel over the images of a training, in the
/// range 0.0 to 1.0, as they are published with networks.
struct ChannelStatistics {
  float mean = 0.0F;
  float deviation = 1.0F;
};

/// Which channel of the source becomes which of the target.
enum class EChannelOrder : std::int32_t {
  KEPT = 0,      ///< the same
  REVERSED = 1,  ///< the first becomes the last: RGB to BGR, and BGR to RGB
};

/// Converts the dense block at `src`, in `srcLayout`, into the dense CHW block at `dst`, which may
/// be the memory of INNRunner::GetInputBuffer. Both hold width * height * channels elements, a
/// count that must fit a signed 32-bit integer. `statistics` are `channels` records, of the
/// channels of the target.
///
/// A sample s in 0.0 to 1.0 becomes (s - mean) / deviation, computed as sample * factor + offset
/// and rounded once, to single precision. The factor is 1 / deviation, for bytes 1 / (255 *
/// deviation), and the offset -mean / deviation; both are computed in double precision and rounded
/// to single. The result is the same on every machine, bit by bit.
///
/// Returns false, with nothing written, if a pointer is null, a size is below 1, a deviation is not
/// finite or 0, or a factor or offset is not finite; else true. A layout but CHW counts as HWC.
/// Throws nothing.
///
/// The blocks must not overlap. Threads: no shared state; any number of conversions may run at once
/// on distinct targets.
///
/// Instantiated for S of unsigned char and float, and for nothing else.
template <typename S>
[[nodiscard]] bool NormalizeImage(const S* src, float* dst, std::int32_t width, std::int32_t height,
                                  std::int32_t channels, ELayoutType srcLayout,
                                  const ChannelStatistics* statistics, EChannelOrder order);

extern template OMBREL_API bool NormalizeImage<unsigned char>(const unsigned char*, float*,
                                                              std::int32_t, std::int32_t,
                                                              std::int32_t, ELayoutType,
                                                              const ChannelStatistics*,
                                                              EChannelOrder);
extern template OMBREL_API bool NormalizeImage<float>(const float*, float*, std::int32_t,
                                                      std::int32_t, std::int32_t, ELayoutType,
                                                      const ChannelStatistics*, EChannelOrder);

}  // namespace OMB::ImageUtils
