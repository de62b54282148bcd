// Whether a text is XML at all, told from how it starts.
#pragma once

#include <string_view>

namespace InferenceEngine {

/// Whether the text starts as an XML document with the root element `net` does: a declaration of
/// version 1 and a tag, or at once the root or a comment. A byte order mark and blanks may stand
/// in front. Nothing behind that is looked at.
bool startsAsXml(std::string_view text);

}  // namespace InferenceEngine
