#include "ombrel/image/data_transformer.h"

#include "ombrel/image/transform_image.h"

namespace OMB {
namespace {

template <typename S, typename D>
void transform(const NNData& src, const NNData& dst) {
  // A refusal shows as a target that is as it was.
  (void)ImageUtils::TransformImage(static_cast<const S*>(src.data), static_cast<D*>(dst.data),
                                   src.width, src.height, src.channels, src.layout, dst.layout);
}

template <typename S>
void transformFrom(const NNData& src, const NNData& dst) {
  if (dst.type == EDataType::FP32) transform<S, float>(src, dst);
  if (dst.type == EDataType::U8) transform<S, unsigned char>(src, dst);
}

}  // namespace

NNData* DataTransformer::processData(const NNData* src, NNData* dst) {
  if (src->type == EDataType::FP32) {
    transformFrom<float>(*src, *dst);
  } else {
    transformFrom<unsigned char>(*src, *dst);
  }
  return dst;
}

}  // namespace OMB
