#include "arguments.h"

#include <cstring>
#include <cwchar>

#include "windows/windows_calls.h"
// clang-format off
#include <shellapi.h>  // behind windows.h, which it lacks the types of
// clang-format on

namespace OMB::tool {
namespace {

std::string utf8Of(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
  utf8.pop_back();
  return utf8;
}

void wipeText(wchar_t* text) {
  SecureZeroMemory(text, std::wcslen(text) * sizeof(wchar_t));
}

}  // namespace

Arguments::Arguments(int count, char** words) {
  SetConsoleOutputCP(CP_UTF8);
  int wideCount = 0;
  wchar_t* const line = GetCommandLineW();
  wchar_t** const wide = CommandLineToArgvW(line, &wideCount);
  const bool secret = std::wcsstr(line, L"--key") != nullptr;
  for (int i = 0; i < wideCount; ++i) {
    texts.push_back(utf8Of(wide[i]));
    if (secret) wipeText(wide[i]);
  }
  LocalFree(wide);
  if (secret) {
    wipeText(line);
    for (int i = 1; i < count; ++i) SecureZeroMemory(words[i], std::strlen(words[i]));
    char* const narrow = GetCommandLineA();
    SecureZeroMemory(narrow, std::strlen(narrow));
  }
  for (std::string& text : texts) pointers.push_back(text.data());
}

}  // namespace OMB::tool
