#include <map>
#include <string>

#include "engine/engine_call.h"
#include "engine/executable_network_impl.h"

namespace InferenceEngine {
namespace {

using Request = Handle<ov_infer_request_t, ov_infer_request_free>;

Blob::Ptr blobOf(const Request& request, const Port& port) {
  using Tensor = Handle<ov_tensor_t, ov_tensor_free>;
  const std::shared_ptr<ov_tensor_t> tensor =
      made<Tensor>(ov_infer_request_get_tensor_by_const_port, request.get(), port.get());
  void* address = nullptr;
  std::size_t size = 0;
  check(ov_tensor_data(tensor.get(), &address));
  check(ov_tensor_get_byte_size(tensor.get(), &size));
  return std::make_shared<Blob>(address, size, tensor);
}

// What a handle refers to, which it has to.
template <typename Impl>
Impl& usable(const std::shared_ptr<Impl>& impl) {
  if (impl == nullptr) throw GeneralError("The handle is empty");
  return *impl;
}

}  // namespace

struct InferRequest::Impl {
  std::shared_ptr<const void> weights;  ///< the request may refer to them: they end last
  Request request;
  std::shared_ptr<const Ports> ports;
  bool dynamic;
  /// Blobs fetched before. The memory of a port stays where it is, unless its shape is only settled
  /// by the inference, and fetching a tensor costs more than a small network takes.
  std::map<std::string, Blob::Ptr> fetched = {};
};

InferRequest ExecutableNetwork::CreateInferRequest() const {
  const Impl& network = usable(impl);
  InferRequest result;
  result.impl = std::make_shared<InferRequest::Impl>(InferRequest::Impl{
      network.weights,
      made<Request>(ov_compiled_model_create_infer_request, network.compiled.get()), network.ports,
      network.dynamic});
  return result;
}

Blob::Ptr InferRequest::GetBlob(const std::string& name) const {
  Impl& request = usable(impl);
  const auto known = request.fetched.find(name);
  if (known != request.fetched.end()) return known->second;
  const auto found = request.ports->find(name);
  if (found == request.ports->end()) fail("No input or output is named '" + name + "'");
  const Blob::Ptr blob = blobOf(request.request, found->second.port);
  if (found->second.fixed) request.fetched.emplace(name, blob);
  return blob;
}

void InferRequest::Infer() {
  ov_infer_request_t* const request = usable(impl).request.get();
  if (!impl->dynamic) return check(ov_infer_request_infer(request));
  // Run on the calling thread, and with one thread only, the engine takes the failure of a step
  // whose shape depends on the data for success, and leaves the output as it was.
  check(ov_infer_request_start_async(request));
  check(ov_infer_request_wait(request));
}

}  // namespace InferenceEngine
