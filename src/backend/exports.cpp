// The plug-in's entry points.
#include <utility>

#include "ombrel/model/backend.h"

#include "backend/openvino_model.h"

OMB::INNModel* Create(OMB::ModelParams params) {
  return new OMB::OpenVINOModel(std::move(params));
}

// All state is made in Create, so there is nothing to do.
void Initialize() {}
