#include "files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <system_error>
#include <unistd.h>

#include "ombrel/platform/byte_vector.h"

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

// No text and no image that is of use holds more.
constexpr std::size_t kMostBytes = std::size_t{1} << 30;

/// The pieces are wiped, as a model in the clear may be in them.
void readAll(const Descriptor& file, const std::string& name, ExitCode code,
             const std::function<void(std::span<const unsigned char>)>& take,
             std::uint64_t most = UINT64_MAX) {
  ByteVector piece(kPieceBytes);
  while (most > 0) {
    const auto wanted = static_cast<unsigned int>(std::min<std::uint64_t>(piece.size(), most));
    const auto got = read(file.get(), piece.data(), wanted);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw ToolError(code, "cannot read " + name + ": " + std::strerror(errno));
    if (got == 0) return;
    take(std::span(piece).first(static_cast<std::size_t>(got)));
    most -= static_cast<std::uint64_t>(got);
  }
}

}  // namespace

std::vector<unsigned char> readBytes(const std::filesystem::path& name, Dash dash, ExitCode code) {
  const bool isStream = dash == Dash::AStandardStream && name == "-";
  const Descriptor file(isStream ? openStandardInput() : openToRead(name));
  const std::string shown = isStream ? "standard input" : name.string();
  if (!file) throw ToolError(code, "cannot open " + shown + ": " + std::strerror(errno));
  std::vector<unsigned char> bytes;
  readAll(file, shown, code, [&](std::span<const unsigned char> piece) {
    if (piece.size() > kMostBytes - bytes.size()) throw ToolError(code, shown + " is too large");
    bytes.insert(bytes.end(), piece.begin(), piece.end());
  });
  return bytes;
}

std::string readTextFile(const std::filesystem::path& file) {
  const std::vector<unsigned char> bytes = readBytes(file);
  return {bytes.begin(), bytes.end()};
}

std::string reasonNotRead(const std::filesystem::path& file) {
  const Descriptor opened(openToRead(file));
  char first = 0;
  if (opened && read(opened.get(), &first, 1) >= 0) return {};
  return std::string(": ") + std::strerror(errno);
}

void readInPieces(const std::filesystem::path& name,
                  const std::function<void(std::span<const unsigned char>)>& take,
                  std::uint64_t most) {
  const Descriptor file(openToRead(name));
  if (!file) {
    throw ToolError(ExitCode::File, "cannot open " + name.string() + ": " + std::strerror(errno));
  }
  readAll(file, name.string(), ExitCode::File, take, most);
}

PendingFile::PendingFile(const std::filesystem::path& place, Dash dash) {
  if (dash == Dash::AStandardStream && place == "-") {
    target = "standard output";
    file.hold(openStandardOutput());
  } else {
    target = withoutLink(place);
    open();
  }
  if (!file) fail(std::strerror(errno));
}

void PendingFile::open() {
  // Renaming onto a folder would fail only after all the work.
  std::error_code none;
  if (std::filesystem::is_directory(target, none)) fail("it is a folder");
  temporary = temporaryName(target);
  if (!temporary.empty()) unfinished.emplace(temporary.c_str());
  file.hold(temporary.empty() ? openToWrite(target, Existing::Emptied, Readers::Any)
                              : openToWrite(temporary, Existing::Refused, Readers::Any));
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
