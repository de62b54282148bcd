#include "posix/fence_messages.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace OMB::tool {
namespace {

using Clock = std::chrono::steady_clock;

struct Header {
  Told kind;
  std::uint32_t unused;
  std::uint64_t size;
};

void writeAll(int pipe, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t done = write(pipe, bytes.data(), bytes.size());
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) _exit(1);
    bytes = bytes.subspan(static_cast<std::size_t>(done));
  }
}

void waitFor(const Descriptor& pipe, Clock::time_point deadline) {
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left < 0) throw TooLate();
    pollfd waiting = {pipe.get(), POLLIN, 0};
    // Not longer than an int of milliseconds holds; what is early asks again.
    const int wait = static_cast<int>(std::min<long long>(left + 1, 1'000'000));
    if (poll(&waiting, 1, wait) > 0) return;
  }
}

// Adds what comes until there are `size` bytes. False when less comes.
bool readTo(const Descriptor& pipe, std::size_t size, Clock::time_point deadline,
            std::vector<std::byte>& bytes) {
  std::byte chunk[1 << 16];  // memory is taken for what came, not for what was announced
  while (bytes.size() < size) {
    waitFor(pipe, deadline);
    const ssize_t got = read(pipe.get(), chunk, std::min(sizeof(chunk), size - bytes.size()));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes.insert(bytes.end(), chunk, chunk + got);
  }
  return true;
}

}  // namespace

void tell(int pipe, Told kind, std::span<const std::byte> head, std::span<const std::byte> rest) {
  const Header header = {kind, 0, head.size() + rest.size()};
  writeAll(pipe, std::as_bytes(std::span(&header, 1)));
  writeAll(pipe, head);
  writeAll(pipe, rest);
}

std::optional<Message> hear(const Descriptor& pipe, std::size_t most, Clock::time_point deadline) {
  std::vector<std::byte> start;
  if (!readTo(pipe, sizeof(Header), deadline, start)) return std::nullopt;
  Header header;
  std::copy(start.begin(), start.end(), reinterpret_cast<std::byte*>(&header));
  if (header.size > most) return Message{Told::Nonsense, {}};
  Message message = {header.kind, {}};
  if (!readTo(pipe, static_cast<std::size_t>(header.size), deadline, message.bytes)) {
    return std::nullopt;
  }
  return message;
}

}  // namespace OMB::tool
