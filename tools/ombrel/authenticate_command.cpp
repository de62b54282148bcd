#include "authenticate_command.h"

#include <cstdio>
#include <span>
#include <utility>

#include "system_calls.h"
#include "tool_error.h"

namespace OMB::tool {

void writeTags(ModelAuthenticator& authenticator, PendingFile& out) {
  const ByteVector tags = authenticator.Finish();
  if (tags.empty()) throw ToolError(ExitCode::Failure, "the system's cryptography gives no tags");
  out.write(std::as_bytes(std::span(tags)));
}

ExitCode authenticateCommand(AuthenticateOptions& options) {
  ModelAuthenticator authenticator(options.key.data(), static_cast<int>(options.key.size()));
  options.key.clear();
  PendingFile tags(pathOf(options.base + kTagsSuffix));
  for (const auto& [suffix, file] :
       {std::pair{".xml", EModelFile::TEXT}, {".bin", EModelFile::WEIGHTS}}) {
    readInPieces(pathOf(options.base + suffix),
                 [&, which = file](std::span<const unsigned char> bytes) {
                   authenticator.Add(which, bytes);
                 });
  }
  writeTags(authenticator, tags);
  tags.commit();
  std::printf("%s: the tags that prove the pair\n", tags.place().string().c_str());
  return ExitCode::Success;
}

}  // namespace OMB::tool
