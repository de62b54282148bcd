#include "files.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <random>
#include <system_error>
#include <unistd.h>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/file_utils.h"

#include "system_calls.h"
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

constexpr std::size_t kPieceBytes = std::size_t{1} << 20;

// What every system writes in one call.
constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;

}  // namespace

std::string readTextFile(const std::filesystem::path& file) {
  const std::int64_t size = Utility::fileSize(file.string());
  if (size < 0) throw ToolError(ExitCode::File, "cannot open " + file.string());
  std::string text(static_cast<std::size_t>(size), '\0');
  Utility::readAllFile(file.string(), text.data(), text.size());
  return text;
}

void readInPieces(const std::filesystem::path& file,
                  const std::function<void(std::span<const unsigned char>)>& take) {
  std::ifstream source(file, std::ios::binary);
  if (!source) throw ToolError(ExitCode::File, "cannot open " + file.string());
  ByteVector piece(kPieceBytes);
  while (source) {
    source.read(reinterpret_cast<char*>(piece.data()), static_cast<std::streamsize>(piece.size()));
    take(std::span(piece).first(static_cast<std::size_t>(source.gcount())));
  }
  if (source.bad()) throw ToolError(ExitCode::File, "cannot read " + file.string());
}

PendingFile::PendingFile(const std::filesystem::path& place)
    : target(withoutLink(place)), temporary(temporaryName(target)) {
  // Renaming onto a folder would fail only after all the work.
  std::error_code none;
  if (std::filesystem::is_directory(target, none)) fail("it is a folder");
  if (!temporary.empty()) unfinished.emplace(temporary.c_str());
  file.hold(temporary.empty() ? openToWrite(target, Existing::Emptied, Readers::Any)
                              : openToWrite(temporary, Existing::Refused, Readers::Any));
  if (!file) fail("its folder does not take a new file");
}

PendingFile::~PendingFile() {
  (void)file.close();
  std::error_code ignored;
  if (!temporary.empty()) std::filesystem::remove(temporary, ignored);
}

void PendingFile::write(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const auto done = ::write(file.get(), bytes.data(),
                              static_cast<unsigned int>(std::min(bytes.size(), kMostAtOnce)));
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) fail(std::strerror(errno));
    bytes = bytes.subspan(static_cast<std::size_t>(done));
  }
}

void PendingFile::finish() {
  if (!file) return;
  const bool safe = temporary.empty() || sync(file.get());
  if (!file.close() || !safe) fail("the disk does not take it");
}

void PendingFile::commit() {
  finish();
  if (temporary.empty()) return;
  if (!moveOver(temporary, target)) fail(std::strerror(errno));
  temporary.clear();
  unfinished.reset();
  syncFolderOf(target);
}

void PendingFile::fail(const std::string& reason) const {
  throw ToolError(ExitCode::File, "cannot write " + target.string() + ": " + reason);
}

void commitTogether(std::initializer_list<PendingFile*> files) {
  for (PendingFile* file : files) file->finish();
  const SignalsHeld held;
  std::string done;
  for (PendingFile* file : files) {
    try {
      file->commit();
    } catch (const ToolError& error) {
      if (done.empty()) throw;
      throw ToolError(error.code, std::string(error.what()) + "; " + done +
                                      ", and of no use with what stands there");
    }
    done += (done.empty() ? "" : " and ") + file->place().string() + " is new";
  }
}

}  // namespace OMB::tool
