#include "ombrel/model/model_buffers.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "ombrel/platform/file_utils.h"

#include "platform/file_part.h"

namespace OMB {
namespace {

using Bytes = ModelBuffers::Bytes;

// What is entered in this process. Reading holds the lock, so that no buffer ends under it.
struct Entered {
  std::map<std::string, ModelBuffers::Files> models;
  std::shared_mutex mutex;
};

// Never destroyed: a static object may hold an entry longer.
Entered& entered() {
  static Entered& instance = *new Entered;
  return instance;
}

Bytes fileOf(const ModelBuffers::Files& files, std::string_view extension) {
  if (extension == ".xml") return files.text;
  if (extension == ".bin") return files.weights;
  return extension == ".auth" ? files.authentication : Bytes();
}

// Calls `use` with the buffer and returns its result, or nothing where the path is not entered.
template <typename Use>
auto withBuffer(const std::string& path, const char* extension, Use use)
    -> std::optional<decltype(use(Bytes()))> {
  Entered& all = entered();
  const std::shared_lock lock(all.mutex);
  const auto found = all.models.find(path);
  if (found == all.models.end()) return std::nullopt;
  return use(fileOf(found->second, extension));
}

}  // namespace

ModelBuffers::ModelBuffers(std::string path, const Files& files) : name(std::move(path)) {
  if (name.empty() || name.find('\0') != std::string::npos) {
    throw std::invalid_argument("A model's buffers need a name without a NUL");
  }
  Entered& all = entered();
  const std::unique_lock lock(all.mutex);
  if (all.models.emplace(name, files).second) return;
  throw std::invalid_argument("A model's buffers are entered already as '" + name + "'");
}

ModelBuffers::~ModelBuffers() {
  Entered& all = entered();
  const std::unique_lock lock(all.mutex);
  all.models.erase(name);
}

std::int64_t modelFileSize(const std::string& path, const char* extension) {
  const auto size = withBuffer(path, extension, [](Bytes bytes) {
    return bytes.empty() ? std::int64_t{-1} : static_cast<std::int64_t>(bytes.size());
  });
  return size ? *size : Utility::fileSize(path + extension);
}

void readModelFile(const std::string& path, const char* extension, void* buffer,
                   std::uint64_t size) {
  readModelFile(path, extension, 0, buffer, size);
}

void readModelFile(const std::string& path, const char* extension, std::uint64_t offset,
                   void* buffer, std::uint64_t size) {
  const auto read = withBuffer(path, extension, [&](Bytes bytes) {
    const std::uint64_t begin = std::min<std::uint64_t>(offset, bytes.size());
    const auto part = bytes.subspan(static_cast<std::size_t>(begin));
    const std::uint64_t count = std::min<std::uint64_t>(size, part.size());
    if (count > 0) std::memcpy(buffer, part.data(), static_cast<std::size_t>(count));
    return count;
  });
  if (!read) platform::readFilePart(path + extension, offset, buffer, size);
}

}  // namespace OMB
