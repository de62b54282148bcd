#include "engine/plugin_list.h"

#include <cstdint>
#include <filesystem>
#include <new>
#include <pugixml.hpp>
#include <string_view>
#include <system_error>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/file_utils.h"

#include "engine/engine_call.h"
#include "system/module_path.h"

namespace InferenceEngine {
namespace {

using std::filesystem::path;

path pathOf(std::string_view utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

path runtimeFolder() {
  return pathOf(OMB::system::modulePath(reinterpret_cast<const void*>(&ov_core_create_with_config)))
      .parent_path();
}

// A name without an ending is another file's: the engine completes it.
bool isLibraryName(std::string_view location) {
  return location.find_first_of("/\\:") == std::string_view::npos &&
         location.ends_with(OMBREL_LIBRARY_SUFFIX);
}

// The engine takes a plain name from beside the list, in full, and what is not there as the loader
// finds it, which is beside the runtime.
bool isOwn(const std::string& location, const path& listFolder, const path& ownFolder) {
  if (!isLibraryName(location)) return false;
  const path own = ownFolder / pathOf(location), listed = listFolder / pathOf(location);
  std::error_code missing;
  return std::filesystem::exists(own, missing) &&
         (!std::filesystem::exists(listed, missing) ||
          std::filesystem::equivalent(own, listed, missing));
}

}  // namespace

void requireOwnPlugins(const std::string& pluginList) {
  const std::int64_t size = OMB::Utility::fileSize(pluginList);
  if (size < 1) return;
  OMB::ByteVector text(static_cast<std::size_t>(size));
  OMB::Utility::readAllFile(pluginList, text.data(), text.size());
  pugi::xml_document document;
  const pugi::xml_parse_result result = document.load_buffer_inplace(text.data(), text.size());
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  const path listFolder = pathOf(pluginList).parent_path(), ownFolder = runtimeFolder();
  for (const pugi::xml_node& plugins : document.document_element().children("plugins")) {
    for (const pugi::xml_node& plugin : plugins.children("plugin")) {
      const std::string location = plugin.attribute("location").value();
      if (isOwn(location, listFolder, ownFolder)) continue;
      fail("The plug-in list gives the device '" + std::string(plugin.attribute("name").value()) +
           "' the library '" + location + "', which is not one of the engine's runtime");
    }
  }
}

}  // namespace InferenceEngine
