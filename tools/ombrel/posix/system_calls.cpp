#include "system_calls.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/crypto.h>

#include "descriptor.h"

namespace OMB::tool {

int openToRead(const std::filesystem::path& file) {
  return open(file.c_str(), O_RDONLY | O_CLOEXEC);
}

int openToWrite(const std::filesystem::path& file, Existing existing, Readers readers) {
  const int treated = existing == Existing::Emptied ? O_TRUNC : O_EXCL;
  const mode_t rights = readers == Readers::Any ? 0666 : 0600;
  return open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | treated, rights);
}

int openStandardInput() {
  return fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
}

int openStandardOutput() {
  return fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
}

void guardStandardStreams() {
  (void)std::signal(SIGPIPE, SIG_IGN);
  int free = 0;
  do {
    free = open("/dev/null", O_RDONLY | O_CLOEXEC);  // which takes nothing that is written
  } while (free >= 0 && free <= STDERR_FILENO);
  if (free >= 0) (void)close(free);
}

bool sync(int file) {
  return fsync(file) == 0;
}

// Not std::filesystem's: what is called, and when, is what the test looks at.
bool moveOver(const std::filesystem::path& from, const std::filesystem::path& to) {
  return std::rename(from.c_str(), to.c_str()) == 0;
}

void syncFolderOf(const std::filesystem::path& file) {
  const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
  const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened) (void)fsync(opened.get());  // the files themselves are safe by now
}

// As ssh does: a file of somebody else's is that one's affair, and a pipe has no readers to come.
bool isOpenToOthers(int file) {
  struct stat status;
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  return status.st_uid == getuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
}

void wipe(void* memory, std::size_t size) {
  OPENSSL_cleanse(memory, size);
}

void removeVariable(const char* name) {
  unsetenv(name);
}

std::filesystem::path programFile() {
  return std::filesystem::read_symlink("/proc/self/exe");
}

}  // namespace OMB::tool
