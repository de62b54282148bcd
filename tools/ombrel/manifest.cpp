#include "manifest.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <utility>

#include <nlohmann/json.hpp>

#include "ombrel/platform/hex.h"

namespace OMB::tool {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

/// One JSON object whose fields are known by name; `where` is its place in the file.
class Fields {
 public:
  Fields(const json& value, std::string where, std::initializer_list<std::string_view> names)
      : object(value), place(std::move(where)) {
    if (!object.is_object()) fail(place, "is not an object");
    for (const auto& item : object.items()) {
      if (std::find(names.begin(), names.end(), item.key()) == names.end()) {
        fail(path(item.key()), "is not a known field");
      }
    }
  }

  std::string path(const std::string& name) const {
    return place.empty() ? name : place + "." + name;
  }

  /// Strings become NUL-terminated ones, so one with a NUL inside would be read as another name.
  std::string text(const std::string& name) const {
    const json& value = field(name);
    if (!value.is_string()) fail(path(name), "is not a string");
    auto result = value.get<std::string>();
    if (result.find('\0') != std::string::npos) fail(path(name), "holds a NUL character");
    return result;
  }

  std::string nonEmptyText(const std::string& name) const {
    std::string result = text(name);
    if (result.empty()) fail(path(name), "is empty");
    return result;
  }

  std::uint32_t number(const std::string& name) const {
    const json& value = field(name);
    if (!value.is_number_unsigned()) fail(path(name), "is not a whole number from 0 on");
    const auto result = value.get<std::uint64_t>();
    if (result > std::numeric_limits<std::uint32_t>::max()) fail(path(name), "exceeds 32 bits");
    return static_cast<std::uint32_t>(result);
  }

  /// The elements of a list, each made by `make` from its JSON value and its place.
  template <typename Make>
  auto list(const std::string& name, Make make) const {
    const json& value = field(name);
    if (!value.is_array()) fail(path(name), "is not a list");
    std::vector<decltype(make(value, place))> result;
    for (const json& element : value) {
      result.push_back(make(element, path(name) + "[" + std::to_string(result.size()) + "]"));
    }
    return result;
  }

  [[noreturn]] static void fail(const std::string& where, const std::string& what) {
    throw ManifestError((where.empty() ? "the manifest" : "\"" + where + "\"") + " " + what);
  }

 private:
  const json& field(const std::string& name) const {
    const auto found = object.find(name);
    if (found == object.end()) fail(path(name), "is missing");
    return *found;
  }

  const json& object;
  std::string place;
};

ManifestDigest readDigest(const json& value, const std::string& where) {
  const Fields fields(value, where, {"sha256", "offset", "length"});
  ManifestDigest digest;
  if (!Utility::decodeHex(fields.text("sha256"), digest.sha256)) {
    Fields::fail(fields.path("sha256"), "is not 64 hexadecimal digits");
  }
  digest.offset = fields.number("offset");
  digest.length = fields.number("length");
  return digest;
}

ManifestDependency readDependency(const json& value, const std::string& where) {
  const Fields fields(value, where, {"name", "hashes"});
  return {fields.nonEmptyText("name"), fields.list("hashes", readDigest)};
}

Manifest readManifestObject(const json& value) {
  const Fields fields(value, "",
                      {"name", "folder", "initialize", "create", "model_suffix", "dependencies"});
  return {fields.nonEmptyText("name"),       fields.nonEmptyText("folder"),
          fields.nonEmptyText("initialize"), fields.nonEmptyText("create"),
          fields.text("model_suffix"),       fields.list("dependencies", readDependency)};
}

ordered_json toJson(const ManifestDependency& dependency) {
  ordered_json hashes = ordered_json::array();
  for (const ManifestDigest& digest : dependency.hashes) {
    hashes.push_back({{"sha256", Utility::encodeHex(digest.sha256)},
                      {"offset", digest.offset},
                      {"length", digest.length}});
  }
  return {{"name", dependency.name}, {"hashes", std::move(hashes)}};
}

}  // namespace

Manifest parseManifest(std::string_view text) {
  try {
    return readManifestObject(json::parse(text));
  } catch (const json::exception& error) {
    throw ManifestError(std::string("is not JSON: ") + error.what());
  }
}

std::string formatManifest(const Manifest& manifest) {
  ordered_json dependencies = ordered_json::array();
  for (const ManifestDependency& dependency : manifest.dependencies) {
    dependencies.push_back(toJson(dependency));
  }
  const ordered_json object = {{"name", manifest.name},
                               {"folder", manifest.folder},
                               {"initialize", manifest.initialize},
                               {"create", manifest.create},
                               {"model_suffix", manifest.modelSuffix},
                               {"dependencies", std::move(dependencies)}};
  try {
    return object.dump(2) + "\n";
  } catch (const json::exception& error) {
    throw ManifestError(std::string("cannot be written as JSON: ") + error.what());
  }
}

}  // namespace OMB::tool
