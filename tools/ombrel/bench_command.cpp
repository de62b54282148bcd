#include "bench_command.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "files.h"
#include "input_size.h"
#include "json_text.h"
#include "latencies.h"
#include "latency_plot.h"
#include "progress.h"

namespace OMB::tool {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

struct Measurement {
  Latencies latencies;
  double seconds;

  double throughput() const { return static_cast<double>(latencies.count()) / seconds; }
};

/// An image that nobody took; how fast a network runs does not depend on what it sees.
Image makeImage(ImageSize size) {
  Image image{size, std::vector<unsigned char>(sampleCount(size))};
  unsigned int state = 1;
  for (unsigned char& sample : image.samples) {
    state = state * 1664525U + 1013904223U;
    sample = static_cast<unsigned char>(state >> 24);
  }
  return image;
}

/// One runner and what it measured. Worked on by one thread.
struct Worker {
  explicit Worker(std::unique_ptr<INNRunner> ready) : runner(std::move(ready)) {}

  void measure(const Image& image, const BenchOptions& options, std::size_t outputs) {
    NNData input = makeInput(image, options.form, *runner);
    const Clock::time_point end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(Seconds(options.seconds));
    Clock::time_point start = Clock::now();
    do {
      runOnce(*runner, input, outputs);
      const Clock::time_point done = Clock::now();
      milliseconds.push_back(std::chrono::duration<double, std::milli>(done - start).count());
      start = done;
    } while (start < end);
  }

  std::unique_ptr<INNRunner> runner;
  std::vector<double> milliseconds;
  std::exception_ptr failure;
};

std::vector<Worker> makeWorkers(const ModelSession& session, int count, ImageSize size) {
  std::vector<Worker> workers;
  for (int i = 0; i < count; ++i) {
    workers.emplace_back(session.createRunner());
    requireFit(*workers.back().runner, size);
  }
  return workers;
}

void showProgress(double seconds) {
  ProgressLine line;
  if (!line.isShown()) return;
  const Clock::time_point start = Clock::now();
  for (double passed = 0; passed < seconds; passed = Seconds(Clock::now() - start).count()) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.1f of %.1f s", passed, seconds);
    line.draw(passed / seconds, text);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

Latencies collect(std::vector<Worker>& workers) {
  std::vector<double> all;
  for (const Worker& worker : workers) {
    if (worker.failure) std::rethrow_exception(worker.failure);
    all.insert(all.end(), worker.milliseconds.begin(), worker.milliseconds.end());
  }
  return Latencies(std::move(all));
}

Measurement measure(std::vector<Worker>& workers, const BenchOptions& options, const Image& image,
                    std::size_t outputs) {
  std::vector<std::jthread> threads;
  // Ends before the threads: one that can't be made leaves none of the others waiting.
  std::promise<void> start;
  const std::shared_future<void> started = start.get_future().share();
  for (Worker& worker : workers) {
    threads.emplace_back([&worker, &image, &options, outputs, started] {
      started.wait();
      try {
        worker.measure(image, options, outputs);
      } catch (...) {
        worker.failure = std::current_exception();
      }
    });
  }
  const Clock::time_point begin = Clock::now();
  start.set_value();
  showProgress(options.seconds);
  threads.clear();  // waits for them
  const double seconds = Seconds(Clock::now() - begin).count();
  return {collect(workers), seconds};
}

std::string titleOf(const BenchOptions& options, ImageSize size) {
  return options.model.modelBase + "  " + std::to_string(size.width) + "x" +
         std::to_string(size.height) + ", " + std::to_string(options.runners) + " runner" +
         (options.runners == 1 ? "" : "s");
}

std::string totalsOf(const Measurement& measured) {
  char text[100];
  std::snprintf(text, sizeof(text), "%zu runs in %.2f s, %.1f a second", measured.latencies.count(),
                measured.seconds, measured.throughput());
  return text;
}

void print(const Measurement& measured, const BenchOptions& options, ImageSize size) {
  const Latencies& latencies = measured.latencies;
  std::printf("%s\n  %s\n", titleOf(options, size).c_str(), totalsOf(measured).c_str());
  std::printf("  one run, in ms: least %.3f, mean %.3f, greatest %.3f\n", latencies.least(),
              latencies.mean(), latencies.greatest());
  for (const double percent : {50.0, 90.0, 99.0, 99.9}) {
    std::printf("  %5.1f %% of all runs within  %9.3f ms\n", percent,
                latencies.percentile(percent));
  }
  std::fputs(latencies.histogram().c_str(), stdout);
}

std::string toJson(const Measurement& measured, const BenchOptions& options, ImageSize size) {
  const Latencies& latencies = measured.latencies;
  const nlohmann::ordered_json object = {{"model", options.model.modelBase},
                                         {"width", size.width},
                                         {"height", size.height},
                                         {"runners", options.runners},
                                         {"seconds", measured.seconds},
                                         {"runs", latencies.count()},
                                         {"runs_per_second", measured.throughput()},
                                         {"latency_ms",
                                          {{"min", latencies.least()},
                                           {"mean", latencies.mean()},
                                           {"p50", latencies.percentile(50)},
                                           {"p90", latencies.percentile(90)},
                                           {"p99", latencies.percentile(99)},
                                           {"p99.9", latencies.percentile(99.9)},
                                           {"max", latencies.greatest()}}}};
  return jsonText(object);
}

}  // namespace

ExitCode benchCommand(BenchOptions& options) {
  // The output first: a file that cannot be written is told before anything is measured.
  std::unique_ptr<PendingFile> json;
  if (!options.jsonFile.empty()) {
    json = std::make_unique<PendingFile>(options.jsonFile, Dash::AStandardStream);
  }

  std::unique_ptr<PendingFile> plot;
  if (!options.plotFile.empty()) plot = std::make_unique<PendingFile>(options.plotFile);

  const ModelSession session(options.model);
  const ImageSize size = chooseSize(session.get(), options.size);
  std::vector<Worker> workers = makeWorkers(session, options.runners, size);
  const Measurement measured = measure(workers, options, makeImage(size), session.outputSize());
  if (options.jsonFile != "-") print(measured, options, size);
  if (json) {
    json->write(toJson(measured, options, size));
    json->commit();
  }
  if (plot) {
    plot->write(plotLatencies(measured.latencies, titleOf(options, size), totalsOf(measured)));
    plot->commit();
  }
  return ExitCode::Success;
}

}  // namespace OMB::tool
