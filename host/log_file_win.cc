#include <windows.h>

#include <array>
#include <cstdio>

#include "host/log_file.h"

namespace talu {
namespace {

// Nothing when the system has none, or one too long for its own path limit.
std::optional<std::string> TemporaryDirectory() {
  std::array<char, 260> directory;
  const DWORD length = GetTempPathA(static_cast<DWORD>(directory.size()), directory.data());
  if (length < 1 || length >= directory.size()) {
    return std::nullopt;
  }
  return std::string(directory.data(), length);
}

}  // namespace

void OpenLogFile() {
  const std::string path = LogFilePath(TemporaryDirectory());
  // There is nowhere to report that the log cannot be opened.
  static_cast<void>(std::freopen(path.c_str(), "w", stdout));
  std::setvbuf(stdout, nullptr, _IONBF, 0);
}

}  // namespace talu
