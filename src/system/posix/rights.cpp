#include "system/rights.h"

#include <sys/stat.h>
#include <unistd.h>

namespace OMB::system {
namespace {

// A group counts as others: who is in it is not told by the file.
bool isOpen(const struct stat& status) {
  const bool owned = status.st_uid == 0 || status.st_uid == geteuid();
  return !owned || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

}  // namespace

bool mayOthersWrite(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) != 0 || isOpen(status);
}

bool mayOthersReplaceIn(const std::string& folder) {
  struct stat status;
  if (stat(folder.c_str(), &status) != 0) return true;
  // There only its owner may take a file away, and the folder's.
  const bool sticky = (status.st_mode & S_ISVTX) != 0 && status.st_uid == 0;
  return isOpen(status) && !sticky;
}

}  // namespace OMB::system
