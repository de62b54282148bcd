// The first answer of a process that does nothing else, from its start on: step by step beside the
// engine called directly, and with a stored compilation beside without one.
//
//   first_answer_bench --demo FOLDER [--benchmark_...]
#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "ombrel/model/nn_compilation.h"

#include "answer_steps.h"
#include "paired.h"
#include "program.h"
#include "seal_command.h"
#include "workspace.h"

namespace OMB::bench {
namespace {

constexpr int kTurns = 21;

// Behind the steps all of them.
using StepTimes = std::array<double, kAnswerSteps.size() + 1>;

[[noreturn]] void become(const std::string& program, std::vector<std::string> arguments,
                         int output) {
  dup2(output, STDOUT_FILENO);
  std::vector<char*> texts = {const_cast<char*>(program.c_str())};
  for (std::string& text : arguments) texts.push_back(text.data());
  texts.push_back(nullptr);
  execv(program.c_str(), texts.data());
  _exit(127);
}

StepTimes readSteps(std::FILE* output) {
  StepTimes seconds{};
  for (std::size_t i = 0; i < kAnswerSteps.size(); ++i) {
    if (std::fscanf(output, "%lf", &seconds[i]) != 1) break;
    seconds.back() += seconds[i];
  }
  return seconds;
}

StepTimes answer(const std::string& program, std::vector<std::string> arguments) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  arguments.insert(arguments.begin(), std::to_string(AnswerSteps::now()));
  const pid_t child = fork();
  if (child == 0) become(program, std::move(arguments), ends[1]);
  close(ends[1]);
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> output(fdopen(ends[0], "r"),
                                                                  std::fclose);
  const StepTimes seconds = readSteps(output.get());
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) throw std::runtime_error("no answer from " + program);
  return seconds;
}

/// The measured pairs of all steps, taken when the first of them is asked for.
class StepPairs {
 public:
  StepPairs(std::string sealedPair, std::string clearPair)
      : sealed(std::move(sealedPair)), clear(std::move(clearPair)) {}

  const PairedTimes& of(std::size_t step) {
    if (!measured) measure();
    measured = true;
    return pairs[step];
  }

 private:
  void measure() {
    for (int turn = -2; turn < kTurns; ++turn) {
      StepTimes ours, peers;
      for (const bool isOurs : {turn % 2 == 0, turn % 2 != 0}) {
        if (isOurs) ours = answer(OMBREL_FIRST_ANSWER_HOST, {OMBREL_MANIFEST, sealed});
        if (!isOurs) peers = answer(OMBREL_FIRST_ANSWER_ENGINE, {clear});
      }
      for (std::size_t i = 0; turn >= 0 && i < pairs.size(); ++i) pairs[i].add(ours[i], peers[i]);
    }
  }

  std::string sealed, clear;
  std::array<PairedTimes, kAnswerSteps.size() + 1> pairs;
  bool measured = false;
};

void registerSteps(const std::string& sealed, const std::string& clear) {
  const auto pairs = std::make_shared<StepPairs>(sealed, clear);
  for (std::size_t i = 0; i <= kAnswerSteps.size(); ++i) {
    const std::string name = i < kAnswerSteps.size() ? kAnswerSteps[i] : "whole";
    const auto measure = [=](benchmark::State& state) {
      for (auto iteration : state) {
        (void)iteration;
        state.SetIterationTime(1);
      }
      pairs->of(i).report(state);
    };
    benchmark::RegisterBenchmark(("first_answer/" + name + "/engine").c_str(), measure)
        ->UseManualTime()
        ->Iterations(1);
  }
}

void registerStored(const Workspace& files, const std::string& sealed) {
  const auto measure = [=, &files](benchmark::State& state) {
    const std::string stored = files.base("stored");
    const auto model = create(sealed, true, files.dataPath());
    if (!dynamic_cast<INNCompilation&>(*model).StoreCompilation(stored.c_str(), kKey,
                                                                sizeof(kKey))) {
      throw std::runtime_error("the compilation was not stored");
    }
    measurePair(
        state,
        [&] {
          answer(OMBREL_FIRST_ANSWER_HOST, {OMBREL_MANIFEST, sealed, stored});
        },
        [&] {
          answer(OMBREL_FIRST_ANSWER_HOST, {OMBREL_MANIFEST, sealed});
        });
  };
  benchmark::RegisterBenchmark("first_answer/stored/compiled", measure)
      ->UseManualTime()
      ->Iterations(kTurns);
}

int main(Arguments arguments) {
  const std::string demo = takeDemo(arguments);
  const Workspace files;
  const std::string clear = demo + "/classifier";
  const std::string sealed = files.base("sealed");
  tool::sealPair(clear, sealed, ByteVector(kKey, kKey + sizeof(kKey)));
  registerSteps(sealed, clear);
  registerStored(files, sealed);
  return runBenchmarks(std::move(arguments));
}

}  // namespace
}  // namespace OMB::bench

int main(int count, char** arguments) {
  return OMB::bench::guarded(count, arguments, OMB::bench::main);
}
