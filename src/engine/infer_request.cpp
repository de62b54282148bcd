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
  if (impl == nullptr) throw GeneralError("The executable network is empty");
  InferRequest result;
  result.impl = std::make_shared<InferRequest::Impl>(InferRequest::Impl{
      impl->weights, made<Request>(ov_compiled_model_create_infer_request, impl->compiled.get()),
      impl->ports, impl->dynamic});
  return result;
}

Blob::Ptr InferRequest::GetBlob(const std::string& name) const {
  if (impl == nullptr) throw GeneralError("The request is empty");
  const auto known = impl->fetched.find(name);
  if (known != impl->fetched.end()) return known->second;
  const auto found = impl->ports->find(name);
  if (found == impl->ports->end()) fail("No input or output is named '" + name + "'");
  const Blob::Ptr blob = blobOf(impl->request, found->second.port);
  if (found->second.fixed) impl->fetched.emplace(name, blob);
  return blob;
}

void InferRequest::Infer() {
  if (impl == nullptr) throw GeneralError("The request is empty");
  ov_infer_request_t* const request = impl->request.get();
  if (!impl->dynamic) return check(ov_infer_request_infer(request));
  // Run on the calling thread, and with one thread only, the engine takes the failure of a step
  // whose shape depends on the data for success, and leaves the output as it was.
  check(ov_infer_request_start_async(request));
  check(ov_infer_request_wait(request));
}

}  // namespace InferenceEngine
