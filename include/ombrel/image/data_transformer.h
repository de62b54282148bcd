// DataTransformer: turns the contents of one NNData into those of another.
#pragma once

#include "ombrel/export.h"
#include "ombrel/image/nn_data.h"

namespace OMB {

/// Stateless. Chooses the TransformImage of the two records' element types.
class OMBREL_API DataTransformer {
 public:
  DataTransformer() = default;
  DataTransformer(const DataTransformer&) = default;
  DataTransformer& operator=(const DataTransformer&) noexcept { return *this; }
  DataTransformer& operator=(DataTransformer&&) noexcept { return *this; }

  /// Fills the buffer of `dst`, in the layout and type of `dst`, from `src`. All three sizes come
  /// from `src`; those of `dst` are neither read nor written, so the caller sees to it that its
  /// buffer has room. A `src` type other than FP32 counts as U8. Neither pointer may be null.
  ///
  /// Returns `dst` always. A null buffer, a size below 1 in `src` or a `dst` type other than U8 and
  /// FP32 leaves the target as it was, without a sign. Throws nothing. Two calls with distinct
  /// targets may run at once.
  static NNData* processData(const NNData* src, NNData* dst);
};

}  // namespace OMB
