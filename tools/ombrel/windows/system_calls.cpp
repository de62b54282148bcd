#include "system_calls.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <string>

#include "windows/windows_calls.h"

namespace OMB::tool {
namespace {

int errorOf(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return ENOENT;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_DISK_FULL:
      return ENOSPC;
    default:
      return EACCES;
  }
}

}  // namespace

int openToRead(const std::filesystem::path& file) {
  return _wopen(file.c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT);
}

// A file that may not be removed while it is open would outlive a program that is ended.
int openToWrite(const std::filesystem::path& file, Existing existing, Readers /*readers*/) {
  const HANDLE opened =
      CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                  existing == Existing::Emptied ? CREATE_ALWAYS : CREATE_NEW, 0, nullptr);
  if (opened != INVALID_HANDLE_VALUE) {
    return _open_osfhandle(reinterpret_cast<intptr_t>(opened), _O_BINARY | _O_NOINHERIT);
  }
  errno = errorOf(GetLastError());
  return -1;
}

namespace {

// Bytes as they are, for the copy and for what it is a copy of.
int openStandard(std::FILE* stream) {
  const int number = _fileno(stream);
  return _setmode(number, _O_BINARY) < 0 ? -1 : _dup(number);
}

}  // namespace

int openStandardInput() {
  return openStandard(stdin);
}

int openStandardOutput() {
  return openStandard(stdout);
}

// Pipes never end a program here, and the numbers stay with the streams.
void guardStandardStreams() {}

bool sync(int file) {
  return _commit(file) == 0;
}

bool moveOver(const std::filesystem::path& from, const std::filesystem::path& to) {
  const bool done = MoveFileExW(from.c_str(), to.c_str(),
                                MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
  if (!done) errno = errorOf(GetLastError());
  return done;
}

// The renaming is on the disk when it returns.
void syncFolderOf(const std::filesystem::path& /*file*/) {}

bool isOpenToOthers(int /*file*/) {
  return false;
}

void wipe(void* memory, std::size_t size) {
  SecureZeroMemory(memory, size);
}

void removeVariable(const char* name) {
  _putenv((std::string(name) + "=").c_str());
}

std::filesystem::path programFile() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace OMB::tool
