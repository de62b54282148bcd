#include "process_memory.h"

#include "tool_error.h"
#include "windows/windows_calls.h"

namespace OMB::tool {

// Of what others may do with a process, seeing that it ends is left. The system writes no report of
// a crash, with the memory in it, for a program that shows no box.
void keepMemoryPrivate() {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  alignas(DWORD) unsigned char list[64], everyone[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof(everyone);
  ACL* const rights = reinterpret_cast<ACL*>(list);
  SECURITY_DESCRIPTOR descriptor;
  const bool done =
      CreateWellKnownSid(WinWorldSid, nullptr, everyone, &size) != 0 &&
      InitializeAcl(rights, sizeof(list), ACL_REVISION) != 0 &&
      AddAccessAllowedAce(rights, ACL_REVISION,
                          PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE,
                          everyone) != 0 &&
      InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) != 0 &&
      SetSecurityDescriptorDacl(&descriptor, TRUE, rights, FALSE) != 0 &&
      SetKernelObjectSecurity(GetCurrentProcess(), DACL_SECURITY_INFORMATION, &descriptor) != 0;
  if (done) return;
  throw ToolError(ExitCode::Failure, "the system does not keep the program's memory private");
}

}  // namespace OMB::tool
