// How deep a network's text nests networks in each other.
#pragma once

#include <pugixml.hpp>

namespace InferenceEngine {

/// Raises GeneralError for a text whose layers have bodies, those bodies' layers too, and so on,
/// for more than 64 levels: the engine reads each level inside the one around it, and some thousand
/// of them overflow its stack.
void requireShallowBodies(pugi::xml_node document);

}  // namespace InferenceEngine
