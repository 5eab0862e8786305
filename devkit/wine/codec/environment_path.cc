#include "devkit/wine/codec/environment_path.h"

#include <windows.h>

#include <algorithm>

namespace talu {

std::wstring EnvironmentPath(const wchar_t* variable) {
  const DWORD room = GetEnvironmentVariableW(variable, nullptr, 0);
  if (room == 0) return {};
  std::wstring path(room, L'\0');
  // Shorter, or nothing, when the variable changed in between: then that is the value.
  path.resize(GetEnvironmentVariableW(variable, path.data(), room));
  if (path.empty() || path[0] != L'/') return path;
  std::replace(path.begin(), path.end(), L'/', L'\\');
  return L"\\\\?\\unix" + path;
}

}  // namespace talu
