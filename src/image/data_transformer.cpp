#include "ombrel/image/data_transformer.h"

#include "ombrel/image/transform_image.h"

namespace OMB {
namespace {

template <typename S, typename D>
void Transform(const NNData& src, const NNData& dst) {
  ImageUtils::TransformImage(static_cast<const S*>(src.data), static_cast<D*>(dst.data), src.width,
                             src.height, src.channels, src.layout, dst.layout);
}

template <typename S>
void TransformFrom(const NNData& src, const NNData& dst) {
  if (dst.type == EDataType::FP32) Transform<S, float>(src, dst);
  if (dst.type == EDataType::U8) Transform<S, unsigned char>(src, dst);
}

}  // namespace

NNData* DataTransformer::processData(const NNData* src, NNData* dst) {
  if (src->type == EDataType::FP32) {
    TransformFrom<float>(*src, *dst);
  } else {
    TransformFrom<unsigned char>(*src, *dst);
  }
  return dst;
}

}  // namespace OMB
