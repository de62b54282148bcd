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

// Memory, threads, clocks, and what is open or may be opened. Whatever is not here fails.
constexpr int kAllowed[] = {SYS_read,
                            SYS_write,
                            SYS_writev,
                            SYS_pread64,
                            SYS_lseek,
                            SYS_close,
                            SYS_getdents64,
                            SYS_fstat,
                            SYS_newfstatat,
                            SYS_statx,
                            SYS_faccessat,
                            SYS_faccessat2,
                            SYS_readlinkat,
                            SYS_getcwd,
#if defined(__x86_64__)  // has these twice
                            SYS_stat,
                            SYS_lstat,
                            SYS_access,
                            SYS_readlink,
                            SYS_time,
                            SYS_arch_prctl,
                            SYS_poll,
#endif
                            SYS_mmap,
                            SYS_munmap,
                            SYS_mremap,
                            SYS_mprotect,
                            SYS_madvise,
                            SYS_brk,
                            SYS_mbind,
                            SYS_get_mempolicy,
                            SYS_set_mempolicy,
                            SYS_membarrier,
                            SYS_futex,
                            SYS_set_robust_list,
                            SYS_rseq,
                            SYS_set_tid_address,
                            SYS_sched_yield,
                            SYS_sched_getaffinity,
                            SYS_sched_setaffinity,
                            SYS_sched_getparam,
                            SYS_sched_getscheduler,
                            SYS_sched_get_priority_max,
                            SYS_sched_get_priority_min,
                            SYS_getcpu,
                            SYS_getpid,
                            SYS_gettid,
                            SYS_getuid,
                            SYS_geteuid,
                            SYS_getgid,
                            SYS_getegid,
                            SYS_getrusage,
                            SYS_sysinfo,
                            SYS_uname,
                            SYS_getrandom,
                            SYS_clock_gettime,
                            SYS_clock_getres,
                            SYS_clock_nanosleep,
                            SYS_gettimeofday,
                            SYS_nanosleep,
                            SYS_ppoll,
                            SYS_rt_sigaction,
                            SYS_rt_sigprocmask,
                            SYS_rt_sigreturn,
                            SYS_sigaltstack,
                            SYS_restart_syscall,
                            SYS_exit,
                            SYS_exit_group};

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
      {SYS_openat, 2, O_ACCMODE | O_CREAT | O_TRUNC, O_RDONLY},
      {SYS_clone, 0, CLONE_THREAD | CLONE_VM, CLONE_THREAD | CLONE_VM},
      {SYS_tgkill, 0, all, static_cast<std::uint32_t>(getpid())},  // abort() ends itself so
      {SYS_prctl, 0, all, PR_SET_NAME},
      {SYS_prlimit64, 2, all, 0},  // asks only
      {SYS_fcntl, 1, all, F_GETFD},
      {SYS_fcntl, 1, all, F_SETFD},
      {SYS_fcntl, 1, all, F_GETFL},
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
  program.skipUnlessEqual(SYS_clone3, 1);
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
  return syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

bool filterSystemCalls() {
  Program program = makeProgram();
  const sock_fprog filter = program.get();
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &filter) == 0;
}

}  // namespace OMB::tool
