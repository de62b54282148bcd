// How a block of image samples is laid out and what its elements are.
#pragma once

#include <cstdint>

namespace OMB {

/// Element type of a buffer.
enum class EDataType : std::int32_t {
  U8 = 0,    ///< unsigned 8-bit integer, 1 byte; stands for the range 0 to 255
  FP32 = 1,  ///< IEEE 754 single, 4 bytes; stands for the range 0.0 to 1.0
};

namespace ImageUtils {

/// Memory order of a block of width W, height H and C channels. Rows follow one another and x is
/// the fastest spatial axis in both orders. A channel is never given a colour.
enum class ELayoutType : std::int32_t {
  CHW = 0,  ///< planar: sample (c, y, x) stands at element c * W * H + y * W + x
  HWC = 1,  ///< interleaved: sample (c, y, x) stands at element (y * W + x) * C + c
};

/// Element type of the source of the allocating TransformImage. Any value but FP32 means bytes.
enum class EFormat : std::int32_t {
  U8 = 0,    ///< unsigned 8-bit integers
  FP32 = 1,  ///< 32-bit floats
};

}  // namespace ImageUtils
}  // namespace OMB
