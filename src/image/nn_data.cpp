#include "ombrel/image/nn_data.h"

#include <cstring>
#include <utility>

#include "image/element_count.h"

namespace OMB {
namespace {

/// The sizes of a block; their product is looked at only where something is allocated.
struct Sizes {
  std::int32_t channels;
  std::int32_t width;
  std::int32_t height;
};

template <typename T>
void* allocateArray(const void* source, const Sizes& sizes) {
  const std::size_t count = elementCount(sizes.channels, sizes.width, sizes.height);
  T* const buffer = new T[count];
  if (source != nullptr && count != 0) std::memcpy(buffer, source, count * sizeof(T));
  return buffer;
}

/// A new buffer for elements of `type`, filled from `source` unless that is null. Null for a type
/// that has no element size.
void* allocateBuffer(const void* source, const Sizes& sizes, EDataType type) {
  if (type == EDataType::U8) return allocateArray<unsigned char>(source, sizes);
  if (type == EDataType::FP32) return allocateArray<float>(source, sizes);
  return nullptr;
}

void releaseBuffer(void* buffer, EDataType type) {
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
                : allocateBuffer(source, {channelCount, samplesInRow, rowCount}, elementType)) {}

NNData::NNData(const NNData& other)
    : layout(other.layout),
      type(other.type),
      channels(other.channels),
      width(other.width),
      height(other.height),
      isView(other.isView),
      data(other.data) {
  if (isView || data == nullptr) return;
  data = allocateBuffer(other.data, {channels, width, height}, type);
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
  if (!isView) releaseBuffer(data, type);
}

}  // namespace OMB
