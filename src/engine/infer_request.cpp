#include <map>
#include <string>

#include "engine/engine_call.h"
#include "engine/executable_network_impl.h"
#include "engine/precision.h"

namespace InferenceEngine {
namespace {

using Request = Handle<ov_infer_request_t, ov_infer_request_free>;
using Tensor = Handle<ov_tensor_t, ov_tensor_free>;
using SharedTensor = std::shared_ptr<ov_tensor_t>;

SharedTensor tensorOf(const Request& request, const Port& port) {
  return made<Tensor>(ov_infer_request_get_tensor_by_const_port, request.get(), port.get());
}

Blob::Ptr blobOf(const SharedTensor& tensor) {
  void* address = nullptr;
  std::size_t size = 0;
  check(ov_tensor_data(tensor.get(), &address));
  check(ov_tensor_get_byte_size(tensor.get(), &size));
  return std::make_shared<Blob>(address, size, tensor);
}

struct OwnedShape {
  OwnedShape() = default;
  OwnedShape(const OwnedShape&) = delete;
  OwnedShape& operator=(const OwnedShape&) = delete;
  ~OwnedShape() { ov_shape_free(&shape); }

  ov_shape_t shape = {};
};

TensorDesc descOf(const SharedTensor& tensor) {
  ov_element_type_e type = DYNAMIC;
  OwnedShape owned;
  check(ov_tensor_get_element_type(tensor.get(), &type));
  check(ov_tensor_get_shape(tensor.get(), &owned.shape));
  SizeVector dims(owned.shape.dims, owned.shape.dims + owned.shape.rank);
  return {precisionOf(type), std::move(dims), Layout::ANY};
}

std::optional<Memory> memoryOf(const Request& request, const Ports::ByName& ports,
                               const std::string& name) {
  const auto found = ports.find(name);
  if (found == ports.end()) return std::nullopt;
  const SharedTensor tensor = tensorOf(request, found->second.port);
  return Memory{blobOf(tensor), descOf(tensor)};
}

// What a handle refers to, which it has to.
template <typename Impl>
Impl& usable(const std::shared_ptr<Impl>& impl) {
  if (impl == nullptr) throw GeneralError("The handle is empty");
  return *impl;
}

const CompiledPort& portOf(const Ports& ports, const std::string& name) {
  const auto input = ports.inputs.find(name);
  if (input != ports.inputs.end()) return input->second;
  const auto output = ports.outputs.find(name);
  if (output == ports.outputs.end()) fail("No input or output is named '" + name + "'");
  return output->second;
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
  const CompiledPort& port = portOf(*request.ports, name);
  const Blob::Ptr blob = blobOf(tensorOf(request.request, port.port));
  if (port.fixed) request.fetched.emplace(name, blob);
  return blob;
}

std::optional<Memory> InferRequest::FindInput(const std::string& name) const {
  const Impl& request = usable(impl);
  return memoryOf(request.request, request.ports->inputs, name);
}

std::optional<Memory> InferRequest::FindOutput(const std::string& name) const {
  const Impl& request = usable(impl);
  return memoryOf(request.request, request.ports->outputs, name);
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
