// The InferenceEngine interface that the backend is written against, over the installed OpenVINO
// runtime.
//
// Every failure of the engine is a GeneralError that carries the engine's own text, on one line;
// std::bad_alloc passes as it is. Copies of a network, an executable network or a request are
// handles on one object.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ombrel/platform/byte_vector.h"

namespace InferenceEngine {

class InferenceEngineException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class GeneralError : public InferenceEngineException {
 public:
  using InferenceEngineException::InferenceEngineException;
};

/// UNSPECIFIED stands for all the types that have no name here.
enum class Precision {
  UNSPECIFIED,
  BOOL,
  BF16,
  FP16,
  FP32,
  FP64,
  I8,
  I16,
  I32,
  I64,
  U8,
  U16,
  U32,
  U64
};

/// ANY stands for a layout that nobody has set.
enum class Layout { ANY, C, NC, NCHW };

using SizeVector = std::vector<std::size_t>;

class TensorDesc {
 public:
  TensorDesc(Precision type, SizeVector sizes, Layout order)
      : precision(type), dims(std::move(sizes)), layout(order) {}

  Precision getPrecision() const { return precision; }
  void setPrecision(Precision type) { precision = type; }
  /// A dimension that the network only settles while it runs is 0.
  const SizeVector& getDims() const { return dims; }
  void setDims(SizeVector sizes) { dims = std::move(sizes); }
  Layout getLayout() const { return layout; }
  void setLayout(Layout order) { layout = order; }

 private:
  Precision precision;
  SizeVector dims;
  Layout layout;
};

/// An input or output of a network: its name and what was set for it.
class Data {
 public:
  Data(std::string called, TensorDesc described)
      : name(std::move(called)), desc(std::move(described)) {}

  const std::string& getName() const { return name; }
  const TensorDesc& getTensorDesc() const { return desc; }
  const SizeVector& getDims() const { return desc.getDims(); }
  void setDims(SizeVector dims) { desc.setDims(std::move(dims)); }
  void setPrecision(Precision precision) { desc.setPrecision(precision); }
  void setLayout(Layout layout) { desc.setLayout(layout); }

 private:
  std::string name;
  TensorDesc desc;
};
using DataPtr = std::shared_ptr<Data>;

/// An input of a network. Without data each operation but setInputData raises GeneralError "Data is
/// empty!".
class InputInfo {
 public:
  using Ptr = std::shared_ptr<InputInfo>;

  void setInputData(DataPtr described) { data = std::move(described); }
  const TensorDesc& getTensorDesc() const { return present().getTensorDesc(); }
  void setPrecision(Precision precision) { present().setPrecision(precision); }
  void setLayout(Layout layout) { present().setLayout(layout); }
  void setDims(SizeVector dims) { present().setDims(std::move(dims)); }

 private:
  Data& present() const {
    if (data == nullptr) throw GeneralError("Data is empty!");
    return *data;
  }
  DataPtr data;
};

using InputsDataMap = std::map<std::string, InputInfo::Ptr>;
using OutputsDataMap = std::map<std::string, DataPtr>;

/// A view of a blob's memory. The address stays good after the view has gone, as long as the blob
/// lives.
template <typename T>
class LockedMemory {
 public:
  explicit LockedMemory(T* memory) : address(memory) {}

  template <typename U>
  U as() const {
    return static_cast<U>(address);
  }

 private:
  T* address;
};

/// A tensor's memory, kept by what owns it. The blobs of a request share the request's memory.
class Blob {
 public:
  using Ptr = std::shared_ptr<Blob>;

  Blob() = default;
  Blob(void* memory, std::size_t bytes, std::shared_ptr<const void> keeper)
      : address(memory), size(bytes), owner(std::move(keeper)) {}
  virtual ~Blob() = default;

  std::size_t byteSize() const { return size; }
  LockedMemory<void> wmap() { return LockedMemory<void>(address); }
  LockedMemory<const void> rmap() const { return LockedMemory<const void>(address); }
  /// What has to live as long as the memory is used.
  const std::shared_ptr<const void>& getOwner() const { return owner; }

 protected:
  void* address = nullptr;
  std::size_t size = 0;
  std::shared_ptr<const void> owner;
};

/// A blob over bytes of its own, once it is allocated.
class MemoryBlob final : public Blob {
 public:
  MemoryBlob(TensorDesc described, OMB::ByteVector contents)
      : desc(std::move(described)), bytes(std::move(contents)) {}
  void allocate();

 private:
  TensorDesc desc;
  OMB::ByteVector bytes;
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
  struct Impl;  ///< the engine layer's own

  CNNNetwork() = default;

  /// Makes `size` the batch of every input that has one: the declared layout says which dimension
  /// it is, if any. Where none is declared it is dimension 0 of an input of rank 2 or of rank 4 and
  /// more, provided that the network's image has that batch as well. Raises for an input that has
  /// an unknown dimension after that.
  void setBatchSize(std::size_t size);

  /// By name, in order; empty for an empty network. The maps are the caller's, what they hold is
  /// the network's own. An input has the name of its parameter; an output has the name of the node
  /// that feeds it, followed by its index where that node has several outputs.
  InputsDataMap getInputsInfo() const;
  OutputsDataMap getOutputsInfo() const;

  /// Dimensions of an input of a network that is not empty, in the order in which the memory of a
  /// request has them: that of the layout that was set, where LoadNetwork applies it.
  SizeVector getInputDims(const std::string& name) const;

 private:
  friend class Core;
  std::shared_ptr<Impl> impl;
};

/// Memory of a request, as it is now.
struct Memory {
  Blob::Ptr blob;
  TensorDesc desc;
};

/// One inference at a time. Threads: different requests may run at the same time.
class InferRequest {
 public:
  /// The same name gives the same memory for the life of the request.
  Blob::Ptr GetBlob(const std::string& name) const;
  /// The same of an input only, or of an output, with what it holds now; nothing where there is
  /// none of that name.
  std::optional<Memory> FindInput(const std::string& name) const;
  std::optional<Memory> FindOutput(const std::string& name) const;
  /// Returns when the output is complete. A network with dimensions that only its data settle runs
  /// on one of the engine's threads, since the calling one would not be told of every failure.
  void Infer();

 private:
  friend class ExecutableNetwork;
  struct Impl;
  std::shared_ptr<Impl> impl;
};

/// A network compiled for a device. Outlives the core and the network that it was made of.
class ExecutableNetwork {
 public:
  explicit operator bool() const { return impl != nullptr; }
  InferRequest CreateInferRequest() const;

  /// Writes it to a file, weights and all, for Core::ImportNetwork.
  void Export(const std::string& path) const;

 private:
  friend class Core;
  struct Impl;
  std::shared_ptr<Impl> impl;
};

/// The engine's devices. What it makes outlives it.
class Core {
 public:
  /// Reads the list of plug-ins at the path. A library in it that is not one of the engine's
  /// runtime beside the list is refused.
  explicit Core(const std::string& pluginList);

  /// For this core only. "MKLDNNPlugin" stands for the engine's own plug-in of the CPU, which comes
  /// from beside the engine's runtime; no other can be registered.
  void RegisterPlugin(const std::string& plugin, const std::string& device);

  /// The network shares the memory of the blob, and keeps nothing of the text. A text that is no
  /// network in XML, one that nests bodies more than 64 deep, or one without an input or an output,
  /// is refused.
  CNNNetwork ReadNetwork(std::string_view text, const Blob::Ptr& weights) const;

  /// Applies the precisions and layouts that were set in the network. A layout is applied only
  /// where the declared one has the same dimensions in another order. The key "CPU_THREADS_NUM" is
  /// turned into today's; other keys pass as they are.
  ExecutableNetwork LoadNetwork(const CNNNetwork& network, const std::string& device,
                                const std::map<std::string, std::string>& config);

  /// What LoadNetwork would give, of what an executable network of the same network has exported
  /// where Describe tells the same. The engine believes every byte: they have to be proven. It
  /// shares the memory of the blob.
  ExecutableNetwork ImportNetwork(const CNNNetwork& network, const Blob::Ptr& compilation,
                                  const std::string& device,
                                  const std::map<std::string, std::string>& config);

  /// All that the compilation of a network depends on, next to the network: the engine's build, the
  /// device and what it can do, and the configuration.
  std::string Describe(const std::string& device,
                       const std::map<std::string, std::string>& config) const;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl;
};

}  // namespace InferenceEngine
