// A loader that does what a test tells it, linked in place of the system's.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct LoaderScript {
  static constexpr std::uint32_t kThrowsBadAlloc = 8;

  /// What an attempt fails with; 0 opens it. A name that is not here is not there: 126.
  std::map<std::string, std::uint32_t> results = {};
  /// What a close fails with; 0 closes.
  std::uint32_t closeResult = 0;
  /// The text of either failure; empty leaves it to the code.
  std::string text = {};
  /// Where modules come from, if it can be told, and whether it is the file that one holds.
  std::string modulePath = "/where/it/is.so";
  bool isMapped = true;
  /// The search directory, empty for none.
  std::string directory = {};
  /// Whether it can't be read, and the setting of it that fails, with 87; counted from 1.
  bool unreadable = false;
  int failingSet = 0;

  /// The calls so far: "load NAME in DIRECTORY", "free NAME", "free NAME for good", "set
  /// DIRECTORY".
  std::vector<std::string> calls = {};
};

LoaderScript& loaderScript();
