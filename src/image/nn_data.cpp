#include "ombrel/image/nn_data.h"

#include <cstring>
#include <utility>

#include "image/element_count.h"

namespace OMB {
namespace {

/// A new buffer for `count` elements of `type`, filled from `source` unless that is null. Null for
/// a type that has no element size.
template <typename T>
void* AllocateArray(const void* source, std::size_t count) {
  T* const buffer = new T[count];
  if (source != nullptr && count != 0) std::memcpy(buffer, source, count * sizeof(T));
  return buffer;
}

void* AllocateBuffer(const void* source, std::size_t count, EDataType type) {
  if (type == EDataType::U8) return AllocateArray<unsigned char>(source, count);
  if (type == EDataType::FP32) return AllocateArray<float>(source, count);
  return nullptr;
}

void ReleaseBuffer(void* buffer, EDataType type) {
  if (type == EDataType::FP32) {
    delete[] static_cast<float*>(buffer);
  } else {
    delete[] static_cast<unsigned char*>(buffer);
  }
}

}  // namespace

NNData::NNData(void* source, std::int32_t channelCount, std::int32_t samplesInRow,
               std::int32_t rowCount, ImageUtils::ELayoutType memoryOrder, EDataType elementType,
               bool view)
    : layout(memoryOrder),
      type(elementType),
      channels(channelCount),
      width(samplesInRow),
      height(rowCount),
      isView(view),
      data(view ? source
                : AllocateBuffer(source, ElementCount(channelCount, samplesInRow, rowCount),
                                 elementType)) {}

NNData::NNData(const NNData& other)
    : layout(other.layout),
      type(other.type),
      channels(other.channels),
      width(other.width),
      height(other.height),
      isView(other.isView),
      data(other.data) {
  if (isView || data == nullptr) return;
  data = AllocateBuffer(other.data, ElementCount(channels, width, height), type);
}

NNData& NNData::operator=(const NNData& other) {
  if (this == &other) return *this;
  NNData copy(other);
  std::swap(layout, copy.layout);
  std::swap(type, copy.type);
  std::swap(channels, copy.channels);
  std::swap(width, copy.width);
  std::swap(height, copy.height);
  std::swap(isView, copy.isView);
  std::swap(data, copy.data);
  return *this;
}

NNData::~NNData() {
  if (!isView) ReleaseBuffer(data, type);
}

}  // namespace OMB
