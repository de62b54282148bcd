// Signatures of manifests.
#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "ombrel/platform/byte_vector.h"

#include "system/signature.h"

namespace OMB::tool {

/// The seed of a private key, which has as many bytes. It is wiped when it ends.
class SigningSeed {
 public:
  explicit SigningSeed(std::span<const unsigned char> bytes);
  ~SigningSeed();
  SigningSeed(const SigningSeed&) = delete;
  SigningSeed& operator=(const SigningSeed&) = delete;

  const system::SigningKey& get() const { return seed; }

 private:
  system::SigningKey seed;
};

/// The signature of the text by the key in a file, as readKeyFile takes it. Throws ToolError.
system::Signature signText(const std::string& text, const std::filesystem::path& keyFile);

}  // namespace OMB::tool
