// Library names through the attempts, over a loader of which any attempt may fail or open.
#include <set>

#include "ombrel/platform/library.h"

#include "fuzz_input.h"
#include "loader_script.h"
#include "platform/text.h"

namespace OMB {
namespace {

void run(fuzz::Input input) {
  const auto outcomes = input.take<std::uint8_t>();
  const std::string name = input.text(input.left());
  const std::wstring wide = to_wide(name);
  REQUIRE(to_wide(to_utf8(wide)) == wide);  // whatever was not valid has been replaced
  const std::wstring readable = wide.c_str();

  LoaderScript& script = loaderScript();
  script = {};
  const std::wstring candidates[] = {readable, readable + moduleSuffix, L"lib" + readable,
                                     L"lib" + readable + moduleSuffix};
  std::set<std::string> allowed;
  for (int i = 0; i < 4; ++i) {
    constexpr DWORD results[] = {ERROR_MOD_NOT_FOUND, ERROR_MOD_NOT_FOUND, 193, 0};
    // Two ways to one candidate have the first one's result.
    script.results.emplace(candidates[i], results[outcomes >> (2 * i) & 3]);
    allowed.insert("load " + to_utf8(candidates[i]) + " in ");
  }

  Library library(name);
  const bool loaded = library.load();
  const auto attempts = script.calls;
  REQUIRE(!attempts.empty() && attempts.size() <= 4);
  for (const std::string& attempt : attempts) REQUIRE(allowed.contains(attempt));
  REQUIRE(loaded == library.is_loaded() && loaded == library.get_error_string().empty());
  if (wide == readable) {  // else a name ends at its first NUL in some places and not in others
    const std::size_t most =
        (wide.starts_with(L"lib") ? 1u : 2u) * (wide.ends_with(moduleSuffix) ? 1u : 2u);
    REQUIRE(attempts.size() <= most);
    REQUIRE(std::set(attempts.begin(), attempts.end()).size() == attempts.size());
    for (std::size_t i = 0; i < attempts.size(); ++i) {
      const std::string tried = attempts[i].substr(5, attempts[i].size() - 9);
      const DWORD result = script.results.at(to_wide(tried));
      // Only that nothing is there leads to a further attempt.
      const bool last = i + 1 == attempts.size();
      REQUIRE(last ? loaded == (result == 0) : result == ERROR_MOD_NOT_FOUND);
      REQUIRE(!last || result != ERROR_MOD_NOT_FOUND || attempts.size() == most);
    }
  }
  REQUIRE(library.unload() == loaded);
}

}  // namespace
}  // namespace OMB

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OMB::run({data, size});
  return 0;
}
