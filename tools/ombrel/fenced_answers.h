// The engine in a process of its own that can do nothing but answer: posix/ and windows/.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "answers.h"

namespace OMB::tool {

/// By a process that is made for it. It proves the package and loads the plug-in as always; then,
/// before the model comes near the engine, it gives up for good all files but the proven ones of
/// the package and those of the model, which it may read, and the network, other programs and other
/// processes.
///
/// It asks for the images last, when it may open no file: they are in memory before. `limit` is how
/// many seconds the process may take for loading, and for each answer. Whatever it sends is taken
/// for hostile. Operations throw ToolError with the code of what failed in there, or
/// ExitCode::Fence when the process crashed, hung or sent nonsense. The key leaves the question.
///
/// Threads: called by a process that has no other thread. Throws ToolError where the system has
/// nothing to make a fence of.
std::unique_ptr<Answers> makeFencedAnswers(Question& question, const ImagesOfSize& read,
                                           double limit);

}  // namespace OMB::tool
