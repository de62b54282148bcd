// Library names through the attempts, over a loader of which any attempt may fail or open.
#include <set>

#include "ombrel/platform/library.h"

#include "fuzz_input.h"
#include "loader_script.h"
#include "platform/text.h"

void OMB::fuzz::run(Input input) {
  const auto outcomes = input.take<std::uint8_t>();
  const ByteVector bytes = input.rest();
  const std::string name(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
  const std::wstring wide = to_wide(name);
  REQUIRE(to_wide(to_utf8(wide)) == wide);  // what was not valid has been replaced

  LoaderScript& script = loaderScript();
  script = {};
  const std::wstring suffix = moduleSuffix;
  int i = 0;
  for (const std::wstring& candidate :
       {wide, wide + suffix, L"lib" + wide, L"lib" + wide + suffix}) {
    constexpr DWORD results[] = {ERROR_MOD_NOT_FOUND, ERROR_MOD_NOT_FOUND, 193, 0};
    script.results[candidate] = results[outcomes >> (2 * i++) & 3];
  }
  Library library(name);
  const bool loaded = library.load();
  REQUIRE(loaded == library.is_loaded() && loaded == library.get_error_string().empty());

  const std::vector<std::string> attempts = script.calls;
  const std::size_t most =
      (wide.starts_with(L"lib") ? 1u : 2u) * (wide.ends_with(suffix) ? 1u : 2u);
  REQUIRE(!attempts.empty() && attempts.size() <= most);
  REQUIRE(std::set(attempts.begin(), attempts.end()).size() == attempts.size());
  for (const std::string& attempt : attempts) {  // "load NAME in "
    const DWORD result = script.results.at(to_wide(attempt.substr(5, attempt.size() - 9)));
    const bool last = &attempt == &attempts.back();
    // Only that nothing is there leads to a further attempt.
    REQUIRE(last ? loaded == (result == 0) : result == ERROR_MOD_NOT_FOUND);
    REQUIRE(!last || result != ERROR_MOD_NOT_FOUND || attempts.size() == most);
  }
  REQUIRE(library.unload() == loaded);
}
