#pragma once
// Text conversions for the wide Windows API, shared by every Windows implementation.
#include <windows.h>

#include <string>

namespace Ordix::OS::Windows {

// UTF-8 to UTF-16 for the wide API; bytes that are not UTF-8 map to U+FFFD.
inline std::wstring Widen(const std::string& text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  const int needed = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  if (needed <= 0) return {};
  std::wstring wide(static_cast<size_t>(needed), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), needed);
  return wide;
}

inline std::string Narrow(const std::wstring& wide) {
  if (wide.empty()) return {};
  const int size = static_cast<int>(wide.size());
  const int needed =
      ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return {};
  std::string text(static_cast<size_t>(needed), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, text.data(), needed, nullptr, nullptr);
  return text;
}

// The system's sentence for an error code, without its line break, with the code appended.
inline std::string ErrorText(DWORD code) {
  char* buffer = nullptr;
  const DWORD length = ::FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<char*>(&buffer), 0, nullptr);
  std::string text = length > 0 && buffer != nullptr ? std::string(buffer, length) : "";
  if (buffer != nullptr) ::LocalFree(buffer);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
    text.pop_back();
  }
  return (text.empty() ? std::string("error") : text) + " (" + std::to_string(code) + ")";
}

}  // namespace Ordix::OS::Windows
