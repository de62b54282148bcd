// What the process behind the fence says through its pipe.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "descriptor.h"

namespace OMB::tool {

enum class Told : std::uint32_t {
  OutputForm,  ///< OutputForm
  Answer,      ///< double, floats
  Failure,     ///< ExitCode, text
  Nonsense,    ///< never told: what is heard in the place of a message that is too long
};

struct Message {
  Told kind;
  std::vector<std::byte> bytes;
};

/// For the process. Ends it when nobody listens any more.
void tell(int pipe, Told kind, std::span<const std::byte> head, std::span<const std::byte> rest);

/// Raised when a message does not come in time.
struct TooLate {};

/// The next message of at most `most` bytes; nothing when the pipe has ended. Throws TooLate.
std::optional<Message> hear(const Descriptor& pipe, std::size_t most,
                            std::chrono::steady_clock::time_point deadline);

}  // namespace OMB::tool
