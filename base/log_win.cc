#include <windows.h>

#include <io.h>

#include <cstdio>
#include <string>

#include "base/log.h"

namespace talu {

// The C runtime writes an unbuffered text stream character by character, so that lines of several
// threads mix. The stream's own file handle takes the finished line in one WriteFile.
void WriteLogText(std::string_view text) {
  const int descriptor = _fileno(stdout);
  if (descriptor < 0) {
    return;
  }
  const auto file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
  if (file == INVALID_HANDLE_VALUE) {
    return;
  }
  std::string line;
  line.reserve(text.size() + 16);
  for (const char byte : text) {
    if (byte == '\n') {
      line.push_back('\r');
    }
    line.push_back(byte);
  }
  DWORD written = 0;
  WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

}  // namespace talu
