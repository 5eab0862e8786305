#include "devkit/wine/codec/call_log.h"

#include <windows.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "devkit/wine/codec/environment_path.h"

namespace talu {
namespace {

// Left open to the process's end: there is no last call to close it at.
HANDLE OpenLog() {
  const std::wstring path = EnvironmentPath(L"TALU_CODEC_LOG");
  if (path.empty()) return INVALID_HANDLE_VALUE;
  return CreateFileW(path.c_str(), FILE_APPEND_DATA,
                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

void LogCall(const char* who, const char* format, ...) {
  static const HANDLE log = OpenLog();
  if (log == INVALID_HANDLE_VALUE) return;
  char line[512];
  int length = std::snprintf(line, sizeof line, "%s: ", who);
  va_list arguments;
  va_start(arguments, format);
  length +=
      std::vsnprintf(line + length, sizeof line - static_cast<size_t>(length), format, arguments);
  va_end(arguments);
  length = std::min(length, static_cast<int>(sizeof line) - 2);
  line[length++] = '\n';
  DWORD written = 0;
  // A full disk costs the test its lines, and the test says so.
  WriteFile(log, line, static_cast<DWORD>(length), &written, nullptr);
}

}  // namespace talu
