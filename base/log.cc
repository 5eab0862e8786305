#include "base/log.h"

#include <array>
#include <cstdio>
#include <string>

namespace talu {

void LogPrintf(const char* format, ...) {
  std::array<char, 1024> shortText;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(shortText.data(), shortText.size(), format, arguments);
  va_end(arguments);
  if (length < 0) {
    return;
  }
  const auto size = static_cast<size_t>(length);
  if (size < shortText.size()) {
    WriteLogText({shortText.data(), size});
    return;
  }
  std::string longText(size + 1, '\0');
  va_start(arguments, format);
  std::vsnprintf(longText.data(), longText.size(), format, arguments);
  va_end(arguments);
  WriteLogText({longText.data(), size});
}

void FlushLog() { std::fflush(stdout); }

}  // namespace talu
