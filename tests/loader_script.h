// A loader that does what a test tells it, linked in place of the platform's.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/system_calls.h"

struct LoaderScript {
  static constexpr DWORD throwsBadAlloc = 8;

  /// What an attempt fails with; 0 opens it. A name that is not here is not there: 126.
  std::map<std::wstring, DWORD> results = {};
  /// What FreeLibrary fails with; 0 closes.
  DWORD closeResult = 0;
  /// What GetModuleFileNameW gives; it fails on an empty path.
  std::wstring modulePath = L"/where/it/is.so";
  /// The search directory, empty for none.
  std::string directory = {};
  /// The use of GetDllDirectoryA and of SetDllDirectoryA that fails, with 87; counted from 1.
  int failingGet = 0, failingSet = 0;

  /// The calls so far: "load NAME in DIRECTORY", "free NAME", "set DIRECTORY".
  std::vector<std::string> calls = {};
};

LoaderScript& loaderScript();
