#include "backend/tensor_type.h"

namespace OMB {

ETensorType tensorType(InferenceEngine::Precision precision) {
  using InferenceEngine::Precision;
  switch (precision) {
    case Precision::BOOL:
      return ETensorType::BOOLEAN;
    case Precision::BF16:
      return ETensorType::BF16;
    case Precision::FP16:
      return ETensorType::FP16;
    case Precision::FP32:
      return ETensorType::FP32;
    case Precision::FP64:
      return ETensorType::FP64;
    case Precision::I8:
      return ETensorType::I8;
    case Precision::I16:
      return ETensorType::I16;
    case Precision::I32:
      return ETensorType::I32;
    case Precision::I64:
      return ETensorType::I64;
    case Precision::U8:
      return ETensorType::U8;
    case Precision::U16:
      return ETensorType::U16;
    case Precision::U32:
      return ETensorType::U32;
    case Precision::U64:
      return ETensorType::U64;
    case Precision::UNSPECIFIED:
      break;
  }
  return ETensorType::OTHER;
}

}  // namespace OMB
