// Manifests as files, and the signatures beside them.
#include <span>

#include "ombrel/plugin/manifest.h"

#include "plugin/built_in_trust.h"
#include "system/open_file.h"
#include "system/signature.h"

namespace OMB {
namespace {

std::string contentsOf(system::OpenFile& file) {
  const std::int64_t size = file.size();
  if (size < 0) throw ManifestError("cannot be opened");
  std::string text(static_cast<std::size_t>(size), '\0');
  text.resize(file.read(text.data(), text.size()));
  return text;
}

system::Signature readSignature(const std::string& fileName) {
  system::OpenFile file(fileName);
  if (file.size() < 0) throw UntrustedManifest("is not signed: " + fileName + " cannot be opened");
  system::Signature signature;
  char beyond = 0;
  if (file.read(signature.data(), signature.size()) != signature.size() ||
      file.read(&beyond, 1) != 0) {
    throw UntrustedManifest("is not signed: " + fileName + " is no signature of 64 bytes");
  }
  return signature;
}

void requireSignature(const std::string& text, const system::Signature& signature,
                      const ManifestTrust& trust) {
  const std::span message(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  if (system::isSignedBy(trust.key, message, signature)) return;
  throw UntrustedManifest("is not what its signature is for, or is signed by another key");
}

void requireNewEnough(const Manifest& manifest, const ManifestTrust& trust) {
  if (manifest.counter >= trust.leastCounter) return;
  throw UntrustedManifest("is an older one: its counter is " + std::to_string(manifest.counter) +
                          ", and at least " + std::to_string(trust.leastCounter) + " is wanted");
}

Manifest readTrusted(const std::string& fileName,
                     std::span<const ManifestTrust* const> conditions) {
  system::OpenFile file(fileName);
  const std::string text = contentsOf(file);
  if (!conditions.empty()) {
    const system::Signature signature = readSignature(fileName + ".sig");
    for (const ManifestTrust* trust : conditions) requireSignature(text, signature, *trust);
  }
  Manifest manifest = parseManifest(text);
  for (const ManifestTrust* trust : conditions) requireNewEnough(manifest, *trust);
  return manifest;
}

}  // namespace

Manifest readManifest(const std::string& fileName) {
  const ManifestTrust* const builtIn = builtInTrust();
  return readTrusted(fileName, std::span(&builtIn, builtIn != nullptr ? 1 : 0));
}

Manifest readManifest(const std::string& fileName, const ManifestTrust& trust) {
  const ManifestTrust* const conditions[] = {&trust, builtInTrust()};
  return readTrusted(fileName, std::span(conditions).first(conditions[1] != nullptr ? 2 : 1));
}

}  // namespace OMB
