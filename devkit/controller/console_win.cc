#include <windows.h>
// After windows.h, which it needs.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdio>

#include "devkit/controller/console.h"

namespace talu::controller {
namespace {

std::string Narrow(const wchar_t* wide) {
  const int length = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  std::string text(length > 0 ? static_cast<size_t>(length) : 1, '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), length, nullptr, nullptr);
  text.pop_back();
  return text;
}

}  // namespace

// The narrow arguments have been through the system's code page, which lacks most letters.
std::vector<std::string> PrepareConsole(int, char**) {
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; wide != nullptr && i < count; ++i) arguments.push_back(Narrow(wide[i]));
  LocalFree(wide);
  return arguments;
}

}  // namespace talu::controller
