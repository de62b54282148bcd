#include "ombrel/plugin/manifest.h"

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <limits>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

#include "ombrel/platform/byte_vector.h"
#include "ombrel/platform/hex.h"

#include "plugin/path_text.h"

namespace OMB {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

// One JSON object whose fields are known by name; `where` is its place in the file.
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

  // Strings become NUL-terminated ones, so one with a NUL inside would be read as another name.
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

  Sha256 digest() const {
    Sha256 result;
    if (Utility::decodeHex(text("sha256"), result)) return result;
    fail(path("sha256"), "is not 64 hexadecimal digits");
  }

  bool has(const std::string& name) const { return object.contains(name); }

  bool flag(const std::string& name) const {
    const json& value = field(name);
    if (!value.is_boolean()) fail(path(name), "is neither true nor false");
    return value.get<bool>();
  }

  // The loader would look for a relative path from wherever the process stands.
  std::string library(const std::string& name) const {
    std::string result = nonEmptyText(name);
    const bool isPath = result.find_first_of("/\\") != std::string::npos;
    if (isPath && !pathOf(result).is_absolute()) fail(path(name), "is a relative path");
    return result;
  }

  std::uint64_t longNumber(const std::string& name) const {
    const json& value = field(name);
    if (!value.is_number_unsigned()) fail(path(name), "is not a whole number from 0 on");
    return value.get<std::uint64_t>();
  }

  std::uint32_t number(const std::string& name) const {
    const std::uint64_t result = longNumber(name);
    if (result > std::numeric_limits<std::uint32_t>::max()) fail(path(name), "exceeds 32 bits");
    return static_cast<std::uint32_t>(result);
  }

  // The elements of a list, each made by `make` from its JSON value and its place.
  // Of one that is empty, `without` says what is wrong with that.
  template <typename Make>
  auto list(const std::string& name, Make make, const char* without) const {
    const json& value = field(name);
    if (!value.is_array()) fail(path(name), "is not a list");
    if (value.empty()) fail(path(name), without);
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

// Names a list tells apart; the loader would take the first of two, and so must whoever reads.
template <typename Named>
void requireDifferent(const std::vector<Named>& list, const std::string& where) {
  std::set<std::string_view> names;
  for (const Named& item : list) {
    if (!names.insert(item.name).second) Fields::fail(where, "lists " + item.name + " twice");
  }
}

ManifestDigest readDigest(const json& value, const std::string& where) {
  const Fields fields(value, where, {"sha256", "offset", "length"});
  const ManifestDigest digest{fields.digest(), fields.number("offset"), fields.number("length")};
  if (digest.length == 0) Fields::fail(fields.path("length"), "is 0, and no bytes prove nothing");
  return digest;
}

ManifestDependency readDependency(const json& value, const std::string& where) {
  const Fields fields(value, where, {"name", "hashes", "file"});
  return {fields.library("name"),
          fields.list("hashes", readDigest, "is empty, and nothing would be accepted"),
          fields.has("file") ? fields.nonEmptyText("file") : std::string()};
}

ManifestFile readFile(const json& value, const std::string& where) {
  const Fields fields(value, where, {"name", "sha256"});
  ManifestFile file{fields.nonEmptyText("name"), fields.digest()};
  if (file.name.find_first_of("/\\") != std::string::npos || file.name == "." ||
      file.name == "..") {
    Fields::fail(fields.path("name"), "is not the plain name of a file");
  }
  return file;
}

Manifest readManifestObject(const json& value) {
  const Fields fields(value, "",
                      {"name", "folder", "initialize", "create", "model_suffix", "dependencies",
                       "files", "closed", "counter"});
  Manifest manifest{
      fields.library("name"),
      fields.nonEmptyText("folder"),
      fields.nonEmptyText("initialize"),
      fields.nonEmptyText("create"),
      fields.text("model_suffix"),
      fields.list("dependencies", readDependency, "is empty, and nothing would be proven")};
  requireDifferent(manifest.dependencies, "dependencies");
  if (fields.has("files")) manifest.files = fields.list("files", readFile, "is empty");
  requireDifferent(manifest.files, "files");
  manifest.closed = fields.has("closed") && fields.flag("closed");
  if (fields.has("counter")) manifest.counter = fields.longNumber("counter");
  return manifest;
}

// Of two fields of one name the parser would keep the last, and another reader the first.
class KeysOnce {
 public:
  bool operator()(int /*depth*/, json::parse_event_t event, json& parsed) {
    if (event == json::parse_event_t::object_start) open.emplace_back();
    if (event == json::parse_event_t::object_end) open.pop_back();
    if (event == json::parse_event_t::key) {
      const auto key = parsed.get<std::string>();
      if (!open.back().insert(key).second) Fields::fail(key, "stands twice in one object");
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> open;
};

ordered_json toJson(const ManifestDependency& dependency) {
  ordered_json hashes = ordered_json::array();
  for (const ManifestDigest& digest : dependency.hashes) {
    hashes.push_back({{"sha256", Utility::encodeHex(digest.sha256)},
                      {"offset", digest.offset},
                      {"length", digest.length}});
  }
  ordered_json object = {{"name", dependency.name}};
  if (!dependency.file.empty()) object["file"] = dependency.file;
  object["hashes"] = std::move(hashes);
  return object;
}

// What may be left out is written only where it says something.
ordered_json toJson(const Manifest& manifest) {
  ordered_json dependencies = ordered_json::array();
  for (const ManifestDependency& dependency : manifest.dependencies) {
    dependencies.push_back(toJson(dependency));
  }
  ordered_json object = {{"name", manifest.name},
                         {"folder", manifest.folder},
                         {"initialize", manifest.initialize},
                         {"create", manifest.create},
                         {"model_suffix", manifest.modelSuffix},
                         {"dependencies", std::move(dependencies)}};
  for (const ManifestFile& file : manifest.files) {
    object["files"].push_back({{"name", file.name}, {"sha256", Utility::encodeHex(file.sha256)}});
  }
  if (manifest.closed) object["closed"] = true;
  if (manifest.counter != 0) object["counter"] = manifest.counter;
  return object;
}

}  // namespace

Manifest parseManifest(std::string_view text) {
  // The parser takes one for the end of the text, and would leave what follows unread.
  if (text.find('\0') != text.npos) throw ManifestError("is not JSON: it holds a NUL character");
  try {
    return readManifestObject(json::parse(text, KeysOnce()));
  } catch (const json::exception& error) {
    throw ManifestError(std::string("is not JSON: ") + error.what());
  }
}

std::string formatManifest(const Manifest& manifest) {
  try {
    return toJson(manifest).dump(2) + "\n";
  } catch (const json::exception& error) {
    throw ManifestError(std::string("cannot be written as JSON: ") + error.what());
  }
}

std::string pluginFolder(const std::string& fileName, const Manifest& manifest) {
  const std::filesystem::path folder =
      (std::filesystem::absolute(pathOf(fileName)).parent_path() / pathOf(manifest.folder))
          .lexically_normal();
  return textOf(folder.has_filename() ? folder : folder.parent_path());
}

Repository<Dependency> makeDependencies(const Manifest& manifest) {
  Repository<Dependency> dependencies;
  for (const ManifestDependency& dependency : manifest.dependencies) {
    std::vector<HashRange> hashes;
    for (const ManifestDigest& digest : dependency.hashes) {
      hashes.emplace_back(ByteVector(digest.sha256.begin(), digest.sha256.end()), digest.offset,
                          digest.length);
    }
    dependencies.Add({dependency.name.c_str(), std::move(hashes)});
  }
  return dependencies;
}

DynamicPlugin makePlugin(const Manifest& manifest) {
  return {manifest.name.c_str(), manifest.initialize.c_str(), manifest.create.c_str(),
          manifest.modelSuffix.c_str(), makeDependencies(manifest)};
}

}  // namespace OMB
