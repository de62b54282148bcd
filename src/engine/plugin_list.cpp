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
#include "platform/module_path.h"

namespace InferenceEngine {
namespace {

using std::filesystem::path;

path pathOf(std::string_view utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

path runtimeFolder() {
  return pathOf(OMB::modulePath(reinterpret_cast<const void*>(&ov_core_create_with_config)))
      .parent_path();
}

// A name without an ending is another file's: the engine completes it.
bool isLibraryName(std::string_view location) {
  return location.find_first_of("/\\:") == std::string_view::npos &&
         location.ends_with(OMBREL_LIBRARY_SUFFIX);
}

// The engine takes a plain name from beside the list, in full; what is not there the loader would
// look for.
bool isOwn(const std::string& location, const path& listFolder, const path& ownFolder) {
  std::error_code missing;
  return isLibraryName(location) &&
         std::filesystem::equivalent(ownFolder / pathOf(location), listFolder / pathOf(location),
                                     missing);
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
           "' the library '" + location +
           "', which is not one of the engine's runtime beside the list");
    }
  }
}

}  // namespace InferenceEngine
