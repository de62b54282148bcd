#include "fenced_answers.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "descriptor.h"
#include "posix/fence.h"
#include "posix/fence_messages.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

constexpr std::size_t kMostText = 4096;    // of a failure, and of what the engine printed
constexpr rlim_t kMostPrinted = 64 << 10;  // what it prints behind that is lost
constexpr int kPipe = STDERR_FILENO + 1;   // the one descriptor that the process has of its own

constexpr char kNoAnswer[] = "the engine gave no answer behind the fence";

template <typename Value>
std::span<const std::byte> bytesOf(const Value& value) {
  return std::as_bytes(std::span(&value, 1));
}

/// Text of the process, which may hold anything, for a terminal.
std::string printable(std::span<const std::byte> bytes) {
  std::string text;
  for (const std::byte byte : bytes.first(std::min(bytes.size(), kMostText))) {
    const char c = static_cast<char>(byte);
    text += (c >= ' ' && c < 0x7F) || c == '\n' ? c : '?';
  }
  return text;
}

// Runs in the new process.

// Lets go of all that belongs to the program, and ends with it.
void leaveParent(pid_t parent, int pipe, int log) {
  (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) (void)std::signal(signal, SIG_DFL);
  (void)std::signal(SIGXFSZ, SIG_IGN);  // printing too much is no crash
  const rlimit printed = {kMostPrinted, kMostPrinted};
  const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const bool done = setrlimit(RLIMIT_FSIZE, &printed) == 0 &&
                    dup2(nothing.get(), STDIN_FILENO) >= 0 && dup2(log, STDOUT_FILENO) >= 0 &&
                    dup2(log, STDERR_FILENO) >= 0 && dup2(pipe, kPipe) >= 0 &&
                    syscall(__NR_close_range, kPipe + 1, ~0U, 0) == 0;
  if (!done) _exit(1);
}

void tellFailure(ExitCode code, const std::string& text) {
  tell(kPipe, Told::Failure, bytesOf(code),
       std::as_bytes(std::span(text)).first(std::min(text.size(), kMostText)));
}

void answerAll(Question& question, const ImagesOfSize& read) {
  question.model.beforeModel = [](const auto& readable) { closeFence(readable); };
  OwnAnswers answers(question, read);
  const OutputForm form = answers.outputForm();
  tell(kPipe, Told::OutputForm, bytesOf(form), {});
  for (std::size_t i = 0; i < answers.imageCount(); ++i) {
    const Answer answer = answers.next();
    tell(kPipe, Told::Answer, bytesOf(answer.milliseconds), std::as_bytes(answer.values));
  }
}

// Nothing passes out of here into the program's own frames.
[[noreturn]] void serve(Question& question, const ImagesOfSize& read) noexcept {
  try {
    answerAll(question, read);
  } catch (const ToolError& error) {
    tellFailure(error.code, error.what());
  } catch (const std::exception& error) {
    tellFailure(ExitCode::Failure, error.what());
  }
  _exit(0);
}

// Runs in the program.

class FencedAnswers final : public Answers {
 public:
  FencedAnswers(Question& question, const ImagesOfSize& read, double seconds);
  ~FencedAnswers() override;

  OutputForm outputForm() override { return form; }
  Answer next() override;

 private:
  explicit FencedAnswers(double seconds) : limit(seconds) { requireFences(); }
  void start(Question& question, const ImagesOfSize& read);
  std::vector<std::byte> expect(Told kind, std::size_t bytes);
  [[noreturn]] void failAsTold(const std::vector<std::byte>& failure) const;
  [[noreturn]] void failAsEnded();
  int end();

  double limit;
  Descriptor pipe, log;
  pid_t process = 0;
  OutputForm form{};
  std::vector<float> values;
};

FencedAnswers::FencedAnswers(Question& question, const ImagesOfSize& read, double seconds)
    : FencedAnswers(seconds) {  // so that what is started here is ended by the destructor
  start(question, read);
  question.model.key.clear();
  std::memcpy(static_cast<void*>(&form), expect(Told::OutputForm, sizeof(form)).data(),
              sizeof(form));
  const bool sane = form.size() >= 1 && form.size() <= INT32_MAX && form.image.width >= 1 &&
                    form.image.height >= 1;
  if (!sane) throw ToolError(ExitCode::Fence, kNoAnswer);
}

FencedAnswers::~FencedAnswers() {
  (void)end();
}

void FencedAnswers::start(Question& question, const ImagesOfSize& read) {
  int ends[2];
  log.hold(memfd_create("ombrel-log", MFD_CLOEXEC));
  if (!log || pipe2(ends, O_CLOEXEC) != 0) throw ToolError(ExitCode::Failure, "no pipe");
  pipe.hold(ends[0]);
  const Descriptor otherEnd(ends[1]);
  std::fflush(nullptr);  // or both would write what is waiting
  const pid_t parent = getpid();
  process = fork();
  if (process < 0) throw ToolError(ExitCode::Failure, "no process for the fence");
  if (process > 0) return;
  leaveParent(parent, otherEnd.get(), log.get());
  serve(question, read);
}

/// The status of the process, which has ended then.
int FencedAnswers::end() {
  int status = 0;
  if (process <= 0) return status;
  (void)kill(process, SIGKILL);  // changes nothing about one that has ended
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
  process = 0;
  return status;
}

/// The next message, which has to be of this kind and size.
std::vector<std::byte> FencedAnswers::expect(Told kind, std::size_t bytes) {
  const auto now = std::chrono::steady_clock::now();
  const auto allowed = std::chrono::duration<double>(limit);
  try {
    auto message = hear(pipe, std::max(bytes, sizeof(ExitCode) + kMostText),
                        now + std::chrono::duration_cast<decltype(now)::duration>(allowed));
    if (!message) failAsEnded();
    if (message->kind == Told::Failure) failAsTold(message->bytes);
    if (message->kind == kind && message->bytes.size() == bytes) return std::move(message->bytes);
  } catch (const TooLate&) {
    char text[100];
    std::snprintf(text, sizeof(text), "the engine took more than %g s behind the fence", limit);
    throw ToolError(ExitCode::Fence, text);
  }
  throw ToolError(ExitCode::Fence, kNoAnswer);
}

/// With what the process printed in front, as it would have been without a fence.
void FencedAnswers::failAsTold(const std::vector<std::byte>& failure) const {
  ExitCode code = ExitCode::Fence;
  if (failure.size() >= sizeof(code)) std::memcpy(&code, failure.data(), sizeof(code));
  const auto isCode = [code](const ExitMeaning& row) { return row.code == code; };
  if (code == ExitCode::Success || std::ranges::none_of(exitMeanings, isCode)) {
    code = ExitCode::Fence;
  }
  std::byte printed[kMostText];
  const ssize_t got = pread(log.get(), printed, sizeof(printed), 0);
  if (got > 0) {
    std::fputs(printable({printed, static_cast<std::size_t>(got)}).c_str(), stderr);
  }
  throw ToolError(code,
                  printable(std::span(failure).subspan(std::min(failure.size(), sizeof(code)))));
}

void FencedAnswers::failAsEnded() {
  const int status = end();
  throw ToolError(ExitCode::Fence, WIFSIGNALED(status)
                                       ? std::string("the engine crashed behind the fence: ") +
                                             strsignal(WTERMSIG(status))
                                       : kNoAnswer);
}

Answer FencedAnswers::next() {
  const auto size = static_cast<std::size_t>(form.size());
  double milliseconds = 0;
  const auto bytes = expect(Told::Answer, sizeof(milliseconds) + size * sizeof(float));
  std::memcpy(&milliseconds, bytes.data(), sizeof(milliseconds));
  values.resize(size);
  std::memcpy(values.data(), bytes.data() + sizeof(milliseconds), size * sizeof(float));
  return {values, milliseconds};
}

}  // namespace

std::unique_ptr<Answers> makeFencedAnswers(Question& question, const ImagesOfSize& read,
                                           double limit) {
  return std::make_unique<FencedAnswers>(question, read, limit);
}

}  // namespace OMB::tool
