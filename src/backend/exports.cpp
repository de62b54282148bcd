// The plug-in's entry points, under their plain names.
#include "ombrel/export.h"
#include "ombrel/model/entry_points.h"

#include "backend/openvino_model.h"

extern "C" {

/// See OMB::CreateFunction. What the load does not turn into a model that is not loaded passes
/// through.
__attribute__((visibility("default"))) OMB::INNModel* Create(OMB::ModelParams params) {
  return new OMB::OpenVINOModel(std::move(params));
}

/// See OMB::InitializeFunction. All state is made in Create, so there is nothing to do.
__attribute__((visibility("default"))) void Initialize() {}

}  // extern "C"
