// Formats of images by their first bytes.
#pragma once

#include <span>

namespace OMB::tool {

/// The name, with its article, of a well-known format that readImage does not take; null for any
/// other bytes.
const char* foreignFormat(std::span<const unsigned char> file);

}  // namespace OMB::tool
