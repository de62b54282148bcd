// What the public headers are to refuse. Clang compiles this and compares its errors with those
// that are expected here: one that is missing is a failure, and so is any other.
#include "ombrel/ombrel.h"

using namespace OMB;
using namespace OMB::ImageUtils;

void copy(const Library& library, const PluginManager& manager) {
  const Library& same = library;
  const PluginManager& self = manager;
  Library copied = same;        // expected-error {{deleted}}
  PluginManager other = self;   // expected-error {{deleted}}
  Dependency some("name", {});  // a dependency without a name is none
  Dependency none;              // expected-error {{no matching constructor}}
}

void drop(Library& library, PluginManager& manager, Plugin& plugin, const HashChecker& checker,
          INNModel& model, INNRunner& runner, Config& config, const unsigned char* bytes,
          float* floats) {
  (void)manager.Load(plugin);
  manager.Load(plugin);                            // expected-error {{nodiscard}}
  plugin.Load("");                                 // expected-error {{nodiscard}}
  plugin.Clone();                                  // expected-error {{nodiscard}}
  checker.Check({}, "");                           // expected-error {{nodiscard}}
  HashCheckerFactory().Create();                   // expected-error {{nodiscard}}
  library.load();                                  // expected-error {{nodiscard}}
  Utility::LoadLibraryA("", library);              // expected-error {{nodiscard}}
  config.Read("");                                 // expected-error {{nodiscard}}
  EBackend::FindByName("");                        // expected-error {{nodiscard}}
  model.CreateRunner();                            // expected-error {{nodiscard}}
  model.IsLoaded();                                // expected-error {{nodiscard}}
  runner.IsReady();                                // expected-error {{nodiscard}}
  runner.Run(nullptr);                             // expected-error {{nodiscard}}
  TransformImage(bytes, floats, 1, 1, 1, {}, {});  // expected-error {{nodiscard}}
  TransformImage(bytes, 1, 1, 1, EFormat::U8);     // expected-error {{nodiscard}}
}
