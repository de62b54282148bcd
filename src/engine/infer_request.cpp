#include <map>
#include <string>

#include <openvino/runtime/infer_request.hpp>

#include "engine/engine_call.h"
#include "engine/executable_network_impl.h"

namespace InferenceEngine {

struct InferRequest::Impl {
  ov::InferRequest request;
  std::shared_ptr<const Ports> ports;
  /// Blobs fetched before. The memory of a port stays where it is, unless its shape is only settled
  /// by the inference, and fetching a tensor costs more than a small network takes.
  std::map<std::string, Blob::Ptr> fetched = {};
};

InferRequest ExecutableNetwork::CreateInferRequest() const {
  if (impl_ == nullptr) throw GeneralError("The executable network is empty");
  return engineCall([&] {
    InferRequest made;
    made.impl_ = std::make_shared<InferRequest::Impl>(
        InferRequest::Impl{impl_->compiled.create_infer_request(), impl_->ports});
    return made;
  });
}

Blob::Ptr InferRequest::GetBlob(const std::string& name) const {
  if (impl_ == nullptr) throw GeneralError("The request is empty");
  const auto known = impl_->fetched.find(name);
  if (known != impl_->fetched.end()) return known->second;
  const auto port = impl_->ports->find(name);
  if (port == impl_->ports->end()) throw GeneralError("No input or output is named '" + name + "'");
  return engineCall([&] {
    const auto blob = std::make_shared<Blob>(impl_->request.get_tensor(port->second));
    if (port->second.get_partial_shape().is_static()) impl_->fetched.emplace(name, blob);
    return blob;
  });
}

void InferRequest::Infer() {
  if (impl_ == nullptr) throw GeneralError("The request is empty");
  engineCall([&] { impl_->request.infer(); });
}

}  // namespace InferenceEngine
