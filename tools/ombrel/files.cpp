#include "files.h"

#include <cstdint>
#include <random>
#include <system_error>

#include "ombrel/platform/file_utils.h"

#include "hex.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

/// A link is written through, not replaced.
std::filesystem::path withoutLink(const std::filesystem::path& place) {
  std::error_code none;
  const bool link =
      std::filesystem::is_symlink(place, none) && !std::filesystem::is_other(place, none);
  return link ? std::filesystem::weakly_canonical(place, none) : place;
}

/// Two programs may write the same file at once, each its own temporary one. Empty for what is
/// there and no file, such as a device, whose place nothing may take.
std::filesystem::path temporaryName(const std::filesystem::path& target) {
  std::error_code none;
  if (std::filesystem::is_other(target, none)) return {};
  std::random_device source;
  std::filesystem::path name = target;
  name += '.';
  name += std::to_string(source());
  name += ".part";
  return name;
}

}  // namespace

std::string readTextFile(const std::filesystem::path& file) {
  const std::int64_t size = Utility::fileSize(file.string());
  if (size < 0) throw ToolError(ExitCode::File, "cannot open " + file.string());
  std::string text(static_cast<std::size_t>(size), '\0');
  Utility::readAllFile(file.string(), text.data(), text.size());
  return text;
}

PendingFile::PendingFile(const std::filesystem::path& place)
    : target(withoutLink(place)), temporary(temporaryName(target)) {
  // Renaming onto a folder would fail only after all the work.
  std::error_code none;
  if (std::filesystem::is_directory(target, none)) fail("it is a folder");
  stream.open(temporary.empty() ? target : temporary, std::ios::binary);
  if (!stream) fail("its folder does not take a new file");
}

PendingFile::~PendingFile() {
  stream.close();
  std::error_code ignored;
  if (!temporary.empty()) std::filesystem::remove(temporary, ignored);
}

void PendingFile::write(std::span<const std::byte> bytes) {
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  if (!stream) fail("the disk does not take it");
}

void PendingFile::finish() {
  if (!stream.is_open()) return;
  stream.close();
  if (!stream) fail("the disk does not take it");
}

void PendingFile::commit() {
  finish();
  if (temporary.empty()) return;
  std::error_code error;
  std::filesystem::rename(temporary, target, error);
  if (error) fail(error.message());
  temporary.clear();
}

void PendingFile::fail(const std::string& reason) const {
  throw ToolError(ExitCode::File, "cannot write " + target.string() + ": " + reason);
}

}  // namespace OMB::tool
