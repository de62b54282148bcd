#include "posix/system_call_filter.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace OMB::tool {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_X86_64;
#else
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_AARCH64;
#endif

// Memory, threads, clocks, and what is open or may be opened. Whatever is not here fails. By the
// names of the kernel, as older C libraries lack some.
constexpr int kAllowed[] = {__NR_read,
                            __NR_write,
                            __NR_writev,
                            __NR_pread64,
                            __NR_lseek,
                            __NR_close,
                            __NR_getdents64,
                            __NR_fstat,
                            __NR_newfstatat,
                            __NR_statx,
                            __NR_faccessat,
                            __NR_faccessat2,
                            __NR_readlinkat,
                            __NR_getcwd,
#if defined(__x86_64__)  // has these twice
                            __NR_stat,
                            __NR_lstat,
                            __NR_access,
                            __NR_readlink,
                            __NR_time,
                            __NR_arch_prctl,
                            __NR_poll,
#endif
                            __NR_mmap,
                            __NR_munmap,
                            __NR_mremap,
                            __NR_mprotect,
                            __NR_madvise,
                            __NR_brk,
                            __NR_mbind,
                            __NR_get_mempolicy,
                            __NR_set_mempolicy,
                            __NR_membarrier,
                            __NR_futex,
                            __NR_set_robust_list,
                            __NR_rseq,
                            __NR_set_tid_address,
                            __NR_sched_yield,
                            __NR_sched_getaffinity,
                            __NR_sched_setaffinity,
                            __NR_sched_getparam,
                            __NR_sched_getscheduler,
                            __NR_sched_get_priority_max,
                            __NR_sched_get_priority_min,
                            __NR_getcpu,
                            __NR_getpid,
                            __NR_gettid,
                            __NR_getuid,
                            __NR_geteuid,
                            __NR_getgid,
                            __NR_getegid,
                            __NR_getrusage,
                            __NR_sysinfo,
                            __NR_uname,
                            __NR_getrandom,
                            __NR_clock_gettime,
                            __NR_clock_getres,
                            __NR_clock_nanosleep,
                            __NR_gettimeofday,
                            __NR_nanosleep,
                            __NR_ppoll,
                            __NR_rt_sigaction,
                            __NR_rt_sigprocmask,
                            __NR_rt_sigreturn,
                            __NR_sigaltstack,
                            __NR_restart_syscall,
                            __NR_exit,
                            __NR_exit_group};

// A call that is allowed where `argument & mask` is `value`.
struct Condition {
  int call;
  unsigned int argument;
  std::uint32_t mask;
  std::uint32_t value;
};

std::vector<Condition> conditions() {
  constexpr std::uint32_t all = 0xFFFFFFFF;
  return {
      {__NR_openat, 2, O_ACCMODE | O_CREAT | O_TRUNC, O_RDONLY},
      {__NR_clone, 0, CLONE_THREAD | CLONE_VM, CLONE_THREAD | CLONE_VM},
      {__NR_tgkill, 0, all, static_cast<std::uint32_t>(getpid())},  // abort() ends itself so
      {__NR_prctl, 0, all, PR_SET_NAME},
      {__NR_prlimit64, 2, all, 0},  // asks only
      {__NR_fcntl, 1, all, F_GETFD},
      {__NR_fcntl, 1, all, F_SETFD},
      {__NR_fcntl, 1, all, F_GETFL},
  };
}

// The program of a filter, one instruction after the other.
class Program {
 public:
  void load(std::size_t offset) {
    add(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset), 0, 0);
  }
  void mask(std::uint32_t bits) { add(BPF_ALU | BPF_AND | BPF_K, bits, 0, 0); }
  void skipUnlessEqual(std::uint32_t value, std::uint8_t skipped) {
    add(BPF_JMP | BPF_JEQ | BPF_K, value, 0, skipped);
  }
  void skipIfEqual(std::uint32_t value, std::uint8_t skipped) {
    add(BPF_JMP | BPF_JEQ | BPF_K, value, skipped, 0);
  }
  void end(std::uint32_t action) { add(BPF_RET | BPF_K, action, 0, 0); }

  sock_fprog get() { return {static_cast<unsigned short>(steps.size()), steps.data()}; }

 private:
  void add(std::uint16_t code, std::uint32_t value, std::uint8_t yes, std::uint8_t no) {
    steps.push_back({code, yes, no, value});
  }
  std::vector<sock_filter> steps;
};

// The low half: no argument that is looked at is wider. Both architectures put it first.
std::size_t offsetOf(unsigned int argument) {
  return offsetof(seccomp_data, args) + argument * sizeof(std::uint64_t);
}

Program makeProgram() {
  Program program;
  program.load(offsetof(seccomp_data, arch));
  program.skipIfEqual(kArchitecture, 1);
  program.end(SECCOMP_RET_KILL_PROCESS);
  program.load(offsetof(seccomp_data, nr));
  for (const int call : kAllowed) {
    program.skipUnlessEqual(static_cast<std::uint32_t>(call), 1);
    program.end(SECCOMP_RET_ALLOW);
  }
  // Its arguments lie in memory, where a filter can't look: the C library makes threads otherwise.
  program.skipUnlessEqual(__NR_clone3, 1);
  program.end(SECCOMP_RET_ERRNO | ENOSYS);
  for (const Condition& condition : conditions()) {
    program.load(offsetof(seccomp_data, nr));
    program.skipUnlessEqual(static_cast<std::uint32_t>(condition.call), 4);
    program.load(offsetOf(condition.argument));
    program.mask(condition.mask);
    program.skipUnlessEqual(condition.value, 1);
    program.end(SECCOMP_RET_ALLOW);
  }
  program.end(SECCOMP_RET_ERRNO | EPERM);
  return program;
}

}  // namespace

bool canFilterSystemCalls() {
  const std::uint32_t action = SECCOMP_RET_ERRNO;
  return syscall(__NR_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

bool filterSystemCalls() {
  Program program = makeProgram();
  const sock_fprog filter = program.get();
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         syscall(__NR_seccomp, SECCOMP_SET_MODE_FILTER, 0, &filter) == 0;
}

}  // namespace OMB::tool
