// The InferenceEngine interface that the backend is written against, over the installed OpenVINO
// runtime.
//
// Every failure of the engine is a GeneralError that carries the engine's own text; std::bad_alloc
// passes as it is. Copies of a network, an executable network or a request are handles on one
// object.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <openvino/runtime/tensor.hpp>

#include "ombrel/platform/byte_vector.h"

namespace ov {
class Model;
}

namespace InferenceEngine {

class InferenceEngineException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class GeneralError : public InferenceEngineException {
 public:
  using InferenceEngineException::InferenceEngineException;
};

/// UNSPECIFIED stands for all the types that the backend never names.
enum class Precision { UNSPECIFIED, FP32, U8 };

/// ANY stands for a layout that nobody has set.
enum class Layout { ANY, C, NC, NCHW };

using SizeVector = std::vector<std::size_t>;

class TensorDesc {
 public:
  TensorDesc(Precision precision, SizeVector dims, Layout layout)
      : precision_(precision), dims_(std::move(dims)), layout_(layout) {}

  Precision getPrecision() const { return precision_; }
  void setPrecision(Precision precision) { precision_ = precision; }
  /// A dimension that the network only settles while it runs is 0.
  const SizeVector& getDims() const { return dims_; }
  void setDims(SizeVector dims) { dims_ = std::move(dims); }
  Layout getLayout() const { return layout_; }
  void setLayout(Layout layout) { layout_ = layout; }

 private:
  Precision precision_;
  SizeVector dims_;
  Layout layout_;
};

/// An input or output of a network: its name and what was set for it.
class Data {
 public:
  Data(std::string name, TensorDesc desc) : name_(std::move(name)), desc_(std::move(desc)) {}

  const std::string& getName() const { return name_; }
  const TensorDesc& getTensorDesc() const { return desc_; }
  const SizeVector& getDims() const { return desc_.getDims(); }
  void setDims(SizeVector dims) { desc_.setDims(std::move(dims)); }
  void setPrecision(Precision precision) { desc_.setPrecision(precision); }
  void setLayout(Layout layout) { desc_.setLayout(layout); }

 private:
  std::string name_;
  TensorDesc desc_;
};
using DataPtr = std::shared_ptr<Data>;

/// An input of a network. Without data each operation but setInputData raises GeneralError "Data is
/// empty!".
class InputInfo {
 public:
  using Ptr = std::shared_ptr<InputInfo>;

  void setInputData(DataPtr data) { data_ = std::move(data); }
  const TensorDesc& getTensorDesc() const { return data().getTensorDesc(); }
  void setPrecision(Precision precision) { data().setPrecision(precision); }
  void setLayout(Layout layout) { data().setLayout(layout); }
  void setDims(SizeVector dims) { data().setDims(std::move(dims)); }

 private:
  Data& data() const {
    if (data_ == nullptr) throw GeneralError("Data is empty!");
    return *data_;
  }
  DataPtr data_;
};

using InputsDataMap = std::map<std::string, InputInfo::Ptr>;
using OutputsDataMap = std::map<std::string, DataPtr>;

/// A view of a blob's memory. The address stays good after the view has gone, as long as the blob
/// lives.
template <typename T>
class LockedMemory {
 public:
  explicit LockedMemory(T* address) : address_(address) {}

  template <typename U>
  U as() const {
    return static_cast<U>(address_);
  }

 private:
  T* address_;
};

/// A tensor's memory. The blobs of a request share the request's memory.
class Blob {
 public:
  using Ptr = std::shared_ptr<Blob>;

  explicit Blob(ov::Tensor tensor) : tensor_(std::move(tensor)) {}
  virtual ~Blob() = default;

  std::size_t byteSize() const { return tensor_ ? tensor_.get_byte_size() : 0; }
  LockedMemory<void> wmap() { return LockedMemory<void>(tensor_.data()); }
  LockedMemory<const void> rmap() const {
    return LockedMemory<const void>(std::as_const(tensor_).data());
  }
  const ov::Tensor& tensor() const { return tensor_; }

 protected:
  ov::Tensor tensor_;
};

/// A blob over bytes of its own, once it is allocated.
class MemoryBlob final : public Blob {
 public:
  MemoryBlob(TensorDesc desc, OMB::ByteVector bytes)
      : Blob(ov::Tensor()), desc_(std::move(desc)), bytes_(std::move(bytes)) {}
  void allocate();

 private:
  TensorDesc desc_;
  OMB::ByteVector bytes_;
};

/// A blob of the bytes, which it takes over: weights come in hundreds of megabytes, and copying
/// them would take longer than reading them. The backend makes blobs of bytes only.
template <typename T>
std::shared_ptr<MemoryBlob> make_shared_blob(TensorDesc desc, OMB::ByteVector bytes) {
  static_assert(sizeof(T) == 1, "a blob of bytes");
  return std::make_shared<MemoryBlob>(std::move(desc), std::move(bytes));
}

/// A network as read. Threads: the const operations may overlap.
class CNNNetwork {
 public:
  CNNNetwork() = default;
  explicit CNNNetwork(std::shared_ptr<ov::Model> model);

  /// Makes `size` dimension 0 of every input that has a batch: those of rank 2 and of rank 4 and
  /// more. Raises for an input that has an unknown dimension after that.
  void setBatchSize(std::size_t size);

  /// By name, in order; empty for an empty network. The maps are the caller's, what they hold is
  /// the network's own. An input has the name of its parameter; an output has the name of the node
  /// that feeds it, followed by its index where that node has several outputs.
  InputsDataMap getInputsInfo() const;
  OutputsDataMap getOutputsInfo() const;

 private:
  friend class Core;
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

/// One inference at a time. Threads: different requests may run at the same time.
class InferRequest {
 public:
  /// The same name gives the same memory for the life of the request.
  Blob::Ptr GetBlob(const std::string& name) const;
  /// Returns when the output is complete.
  void Infer();

 private:
  friend class ExecutableNetwork;
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

/// A network compiled for a device. Outlives the core and the network that it was made of.
class ExecutableNetwork {
 public:
  explicit operator bool() const { return impl_ != nullptr; }
  InferRequest CreateInferRequest() const;

 private:
  friend class Core;
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

/// The engine's devices. What it makes outlives it.
class Core {
 public:
  /// Reads the list of plug-ins at the path.
  explicit Core(const std::string& pluginList);

  /// For this core only. Today's name of the engine's plug-in is used for "MKLDNNPlugin".
  void RegisterPlugin(const std::string& plugin, const std::string& device);

  /// The network shares the memory of the blob. A text that is no network in XML, or one
  /// without an input or an output, is refused.
  CNNNetwork ReadNetwork(const std::string& text, const Blob::Ptr& weights) const;

  /// Applies the precisions and layouts that were set in the network, on a copy of it. The key
  /// "CPU_THREADS_NUM" is turned into today's; other keys pass as they are.
  ExecutableNetwork LoadNetwork(const CNNNetwork& network, const std::string& device,
                                const std::map<std::string, std::string>& config);

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace InferenceEngine
