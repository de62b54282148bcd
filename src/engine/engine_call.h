// Calls of the engine's C interface: what they make is owned, what they refuse is raised.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <openvino/c/openvino.h>

#include "engine/inference_engine.h"

namespace InferenceEngine {

/// Owns an object of the C interface, which `release` takes back.
template <typename Object, auto release>
struct Release {
  void operator()(Object* object) const { release(object); }
};
template <typename Object, auto release>
using Handle = std::unique_ptr<Object, Release<Object, release>>;

using Text = Handle<const char, ov_free>;
using Port = Handle<ov_output_const_port_t, ov_output_const_port_free>;

/// The text with every run of blanks, line ends and control characters as one blank, and none at
/// either end: who prints a failure prints one line.
std::string oneLine(std::string_view text);

/// Raises GeneralError with the text on one line.
[[noreturn]] void fail(std::string_view text);

/// Raises what a call of the engine refused, with the engine's own text. The engine keeps one text
/// for the whole process, so where threads fail at once one may get the other's.
void check(ov_status_e status);

/// What a call makes whose last argument says where to put it.
template <typename Made, typename Call, typename... Arguments>
Made made(Call call, Arguments... arguments) {
  typename Made::pointer object = nullptr;
  check(call(arguments..., &object));
  return Made(object);
}

}  // namespace InferenceEngine
