// What a network takes or gives: its name, its elements and, in a runner, its memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace OMB {

/// Type of the elements of an input or output. OTHER stands for all that hosts have no type for,
/// such as packed bits and texts.
enum class ETensorType : std::int32_t {
  OTHER,
  BOOLEAN,  ///< a byte, 0 or 1
  BF16,     ///< the upper half of an FP32
  FP16,
  FP32,
  FP64,
  I8,
  I16,
  I32,
  I64,
  U8,
  U16,
  U32,
  U64,
};

/// An input or output of a network, as the memory of its runners has it.
struct NNTensorInfo {
  std::string name;
  ETensorType type = ETensorType::OTHER;
  /// Number of elements along each dimension, the last of which is the fastest in memory; the batch
  /// is 1. A dimension that only the data settle is 0. Empty for a single value, and where not even
  /// the number of dimensions is settled.
  std::vector<std::size_t> shape;
};

/// The memory of one input or output of a runner, dense and in the system's byte order.
struct NNTensor {
  void* data = nullptr;   ///< null when the runner has nothing of that name
  std::size_t bytes = 0;  ///< size of the memory
  ETensorType type = ETensorType::OTHER;
  std::vector<std::size_t> shape;  ///< as in NNTensorInfo, with every dimension settled
};

}  // namespace OMB
