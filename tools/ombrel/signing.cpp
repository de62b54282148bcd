#include "signing.h"

#include <algorithm>

#include "key.h"
#include "process_memory.h"
#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {

SigningSeed::SigningSeed(std::span<const unsigned char> bytes) {
  std::ranges::copy(bytes.first(seed.size()), seed.begin());
}

SigningSeed::~SigningSeed() {
  wipe(seed.data(), seed.size());
}

system::Signature signText(const std::string& text, const std::filesystem::path& keyFile) {
  keepMemoryPrivate();
  const SigningSeed seed(readKeyFile(keyFile, kSigningKeyBytes));
  const auto signature = system::sign(
      seed.get(), std::span(reinterpret_cast<const unsigned char*>(text.data()), text.size()));
  if (signature) return *signature;
  throw ToolError(ExitCode::Failure, "the manifest cannot be signed");
}

}  // namespace OMB::tool
