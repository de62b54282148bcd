// The system's own words for its errors.
#pragma once

#include <cstdint>
#include <string>

namespace OMB::system {

/// The code of the thread's last failed call.
std::uint32_t lastError() noexcept;

/// In UTF-8, as the system words it, line ends included; empty for a code that it does not know.
std::string errorText(std::uint32_t code);

}  // namespace OMB::system
