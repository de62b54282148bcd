// How the engine's failures reach the backend.
#pragma once

#include <exception>
#include <new>
#include <utility>

#include "engine/inference_engine.h"

namespace InferenceEngine {

/// Runs a call of the runtime. Its failures, including the plain standard exceptions that its
/// parsers let through, become GeneralError with the same text; memory exhausted stays what it is.
template <typename Call>
auto engineCall(Call&& call) -> decltype(call()) {
  try {
    return std::forward<Call>(call)();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const InferenceEngineException&) {
    throw;
  } catch (const std::exception& failure) {
    throw GeneralError(failure.what());
  }
}

}  // namespace InferenceEngine
