#include <windows.h>

#include "devkit/loopback/platform.h"

namespace talu::loopback {
namespace {

std::wstring Widen(const std::string& text) {
  const int length =
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), length);
  return wide;
}

std::string Narrow(const std::wstring& wide) {
  const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                         nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(), length,
                      nullptr, nullptr);
  return text;
}

// 100 ns steps since 1601.
constexpr int64_t kStepsPerUs = 10;
constexpr int64_t kUsFrom1601To1970 = 11'644'473'600'000'000;

}  // namespace

std::optional<std::string> ReadEnvironment(const char* name) {
  const std::wstring wideName = Widen(name);
  const DWORD room = GetEnvironmentVariableW(wideName.c_str(), nullptr, 0);
  if (room <= 1) return std::nullopt;
  std::wstring value(room, L'\0');
  const DWORD length = GetEnvironmentVariableW(wideName.c_str(), value.data(), room);
  // Changed meanwhile by another thread: as if it had not been set.
  if (length == 0 || length >= room) return std::nullopt;
  value.resize(length);
  return Narrow(value);
}

std::filesystem::path ModuleFolder() {
  HMODULE module = nullptr;
  if (!GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(&ModuleFolder), &module)) {
    return {};
  }
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return std::filesystem::path(path).parent_path();
}

int64_t UnixTimeUs() {
  FILETIME time;
  GetSystemTimePreciseAsFileTime(&time);
  const int64_t steps =
      static_cast<int64_t>(uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
  return steps / kStepsPerUs - kUsFrom1601To1970;
}

std::filesystem::path PathFromUtf8(const std::string& text) { return Widen(text); }

}  // namespace talu::loopback
