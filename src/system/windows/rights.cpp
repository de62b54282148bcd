#include "system/rights.h"

#include <array>
#include <memory>

#include "system/text.h"
#include "system/windows/windows_calls.h"
// clang-format off
#include <aclapi.h>  // behind windows.h, which it lacks the types of
// clang-format on

namespace OMB::system {
namespace {

constexpr DWORD kReplace = DELETE | FILE_DELETE_CHILD | WRITE_DAC | WRITE_OWNER | GENERIC_ALL;
constexpr DWORD kWrite = kReplace | FILE_WRITE_DATA | FILE_APPEND_DATA | GENERIC_WRITE;

// The service that installs what comes with the system, whose files it owns.
constexpr std::array<DWORD, 6> kInstaller = {80,         956008885,  3418522649,
                                             1831038044, 1853292631, 2271478464};

bool isInstaller(PSID account) {
  if (*GetSidSubAuthorityCount(account) != kInstaller.size()) return false;
  for (DWORD i = 0; i < kInstaller.size(); ++i) {
    if (*GetSidSubAuthority(account, i) != kInstaller[i]) return false;
  }
  return true;
}

bool isThisUser(PSID account) {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) return false;
  alignas(TOKEN_USER) std::array<unsigned char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user;
  DWORD size = 0;
  const bool told = GetTokenInformation(token, TokenUser, user.data(), user.size(), &size) != 0;
  CloseHandle(token);
  return told && EqualSid(account, reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid) != 0;
}

bool isTrusted(PSID account) {
  for (const WELL_KNOWN_SID_TYPE known : {WinLocalSystemSid, WinBuiltinAdministratorsSid,
                                          WinCreatorOwnerSid, WinCreatorOwnerRightsSid}) {
    if (IsWellKnownSid(account, known) != 0) return true;
  }
  return isInstaller(account) || isThisUser(account);
}

// Whether the list lets anybody else do one of these things. None at all lets everybody.
bool allows(PACL list, DWORD what) {
  if (list == nullptr) return true;
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (GetAce(list, i, &entry) == 0) return true;
    const auto* allowed = static_cast<const ACCESS_ALLOWED_ACE*>(entry);
    if (allowed->Header.AceType != ACCESS_ALLOWED_ACE_TYPE ||
        (allowed->Header.AceFlags & INHERIT_ONLY_ACE) != 0 || (allowed->Mask & what) == 0) {
      continue;
    }
    if (!isTrusted(const_cast<DWORD*>(&allowed->SidStart))) return true;
  }
  return false;
}

bool mayOthers(const std::string& path, DWORD what) {
  PSID owner = nullptr;
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetNamedSecurityInfoW(to_wide(path).c_str(), SE_FILE_OBJECT,
                            OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr,
                            &list, nullptr, &descriptor) != ERROR_SUCCESS) {
    return true;
  }
  const std::unique_ptr<void, decltype(&LocalFree)> held(descriptor, &LocalFree);
  return owner == nullptr || !isTrusted(owner) || allows(list, what);
}

}  // namespace

bool mayOthersWrite(const std::string& path) {
  return mayOthers(path, kWrite);
}

bool mayOthersReplaceIn(const std::string& folder) {
  return mayOthers(folder, kReplace);
}

}  // namespace OMB::system
