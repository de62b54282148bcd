// Library names through the attempts, over a loader of which any attempt may fail or open.
#include <set>

#include "ombrel/platform/library.h"

#include "fuzz_input.h"
#include "loader_script.h"
#include "system/module.h"

void OMB::fuzz::run(Input input) {
  const auto outcomes = input.take<std::uint8_t>();
  const ByteVector bytes = input.rest();
  const std::string name(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
  LoaderScript& script = loaderScript();
  script = {};
  const std::string suffix = system::kModuleSuffix;
  int i = 0;
  for (const std::string& candidate : {name, name + suffix, "lib" + name, "lib" + name + suffix}) {
    constexpr std::uint32_t kResults[] = {126, 126, 193, 0};
    script.results[candidate] = kResults[outcomes >> (2 * i++) & 3];
  }
  Library library(name);
  const bool loaded = library.load();
  REQUIRE(loaded == library.is_loaded() && loaded == library.get_error_string().empty());

  const std::vector<std::string> attempts = script.calls;
  const std::size_t most = (name.starts_with("lib") ? 1u : 2u) * (name.ends_with(suffix) ? 1u : 2u);
  REQUIRE(!attempts.empty() && attempts.size() <= most);
  REQUIRE(std::set(attempts.begin(), attempts.end()).size() == attempts.size());
  for (const std::string& attempt : attempts) {  // "load NAME in "
    const std::uint32_t result = script.results.at(attempt.substr(5, attempt.size() - 9));
    const bool last = &attempt == &attempts.back();
    // Only that nothing is there leads to a further attempt.
    REQUIRE(last ? loaded == (result == 0) : result == 126);
    REQUIRE(!last || result != 126 || attempts.size() == most);
  }
  REQUIRE(library.unload() == loaded);
}
