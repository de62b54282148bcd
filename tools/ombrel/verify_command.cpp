#include "verify_command.h"

#include <cstdio>

#include "ombrel/model/authentication.h"

#include "key.h"
#include "tool_error.h"

namespace OMB::tool {
namespace {

ExitCode codeOf(EAuthenticity verdict) {
  switch (verdict) {
    case EAuthenticity::MISSING:
      return ExitCode::File;
    case EAuthenticity::OTHER_KEY:
      return ExitCode::OtherKey;
    case EAuthenticity::UNTESTED:
      return ExitCode::Failure;
    default:
      return ExitCode::NotAuthentic;
  }
}

Authenticity verifyWith(const VerifyOptions& options, const ByteVector& key) {
  return verifyModel(options.base.c_str(), key.data(), static_cast<int>(key.size()));
}

}  // namespace

// The tags do not say whether the pair is sealed, but which key is theirs.
ExitCode verifyCommand(const VerifyOptions& options) {
  const char* form = "sealed";
  Authenticity found = verifyWith(options, effectiveKey(options.key));
  if (found.verdict == EAuthenticity::OTHER_KEY) {
    form = "in the clear";
    found = verifyWith(options, options.key);
  }
  const std::string finding = found.Describe(options.base);
  if (!found.IsAuthentic()) throw ToolError(codeOf(found.verdict), finding);
  std::printf("%s, %s\n", finding.c_str(), form);
  return ExitCode::Success;
}

}  // namespace OMB::tool
