#include "engine/precision.h"

namespace InferenceEngine {
namespace {

constexpr struct {
  Precision precision;
  ov_element_type_e element;
} kTypes[] = {{Precision::BOOL, BOOLEAN}, {Precision::BF16, BF16}, {Precision::FP16, F16},
              {Precision::FP32, F32},     {Precision::FP64, F64},  {Precision::I8, I8},
              {Precision::I16, I16},      {Precision::I32, I32},   {Precision::I64, I64},
              {Precision::U8, U8},        {Precision::U16, U16},   {Precision::U32, U32},
              {Precision::U64, U64}};

}  // namespace

Precision precisionOf(ov_element_type_e type) {
  for (const auto& [precision, element] : kTypes) {
    if (element == type) return precision;
  }
  return Precision::UNSPECIFIED;
}

ov_element_type_e elementOf(Precision precision) {
  for (const auto& [named, element] : kTypes) {
    if (named == precision) return element;
  }
  return DYNAMIC;
}

}  // namespace InferenceEngine
