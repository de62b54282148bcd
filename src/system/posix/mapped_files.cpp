#include "system/posix/mapped_files.h"

#include <charconv>
#include <fstream>
#include <string_view>

namespace OMB::system {
namespace {

// Takes what stands in front of the sign off the line, and the sign.
std::string_view takeUntil(char sign, std::string_view& line) {
  const std::size_t end = line.find(sign);
  const std::string_view taken = line.substr(0, end);
  line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
  return taken;
}

template <typename Number>
Number toNumber(std::string_view digits, int base) {
  Number number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
  return number;
}

// "start-end rights offset device inode path", the numbers in hex but for the inode.
Mapping toMapping(std::string_view line) {
  takeUntil('-', line);
  const auto end = toNumber<std::uintptr_t>(takeUntil(' ', line), 16);
  takeUntil(' ', line);
  takeUntil(' ', line);
  const std::string_view device = takeUntil(' ', line);
  const auto inode = toNumber<std::uint64_t>(takeUntil(' ', line), 10);
  return {end, {std::string(device), inode}};
}

}  // namespace

std::vector<Mapping> readMappings() {
  std::vector<Mapping> mappings;
  std::ifstream list("/proc/self/maps");
  for (std::string line; std::getline(list, line);) mappings.push_back(toMapping(line));
  return mappings;
}

}  // namespace OMB::system
