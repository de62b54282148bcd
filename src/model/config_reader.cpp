// The configuration file: pairs of key and value, separated by white space.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <istream>
#include <limits>
#include <string>

#include "ombrel/model/config.h"

#include "platform/console.h"
#include "system/input_file.h"

namespace OMB {
namespace {

// White space is ASCII, whatever locale the host has set.
bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Stores the next run of other characters; false at the end of the file, which a read error is too.
bool readToken(std::istream& file, std::string& token) {
  token.clear();
  for (char c; file.get(c);) {
    if (!isSpace(c)) {
      token += c;
    } else if (!token.empty()) {
      return true;
    }
  }
  return !token.empty();
}

// The leading number of the text, 0 if there is none, cut to the range of the type.
std::int32_t toInteger(const std::string& text) {
  using Limits = std::numeric_limits<std::int32_t>;
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

EBackend toBackend(const std::string& name) {
  const auto found = EBackend::FindByName(name.c_str());
  if (!found) {
    console::printOut("Ombrel: Unsupported backend name: %s\n", name.c_str());
    return EBackend::AUTO;
  }
  return *found == EBackend::UNDEFINED ? EBackend(EBackend::AUTO) : *found;
}

// Up to and including the last separator, with slashes for separators.
std::string directoryOf(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  path.resize(path.rfind('/') + 1);
  return path;
}

}  // namespace

bool Config::Read(const char* path) {
  std::ifstream file = system::openForReading(path, std::ios::in);
  if (!file.is_open()) {
    console::printOut("Ombrel: Missing config file named %s\n", path);
    return false;
  }
  const std::string directory = directoryOf(path);
  for (std::string key, value; readToken(file, key) && readToken(file, value);) {
    if (key == "ThreadCount") {
      threadCount = toInteger(value);
    } else if (key == "EBackend") {
      backend = toBackend(value);
    } else if (key == "DataPath") {
      dataPath = value == "." ? directory : directory + value;
    } else {
      console::printOut("Ombrel: Unsupported config key named: %s\n", key.c_str());
    }
  }
  return true;
}

}  // namespace OMB
