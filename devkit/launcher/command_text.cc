#include "devkit/launcher/command_text.h"

#include <algorithm>
#include <utility>

namespace talu {
namespace {

// Backslashes are plain characters except before a quote, where each has to be doubled.
void AppendQuoted(const std::string& argument, std::string& line) {
  line += '"';
  size_t backslashes = 0;
  for (const char character : argument) {
    if (character == '\\') {
      ++backslashes;
      continue;
    }
    line.append(character == '"' ? 2 * backslashes + 1 : backslashes, '\\');
    line += character;
    backslashes = 0;
  }
  line.append(2 * backslashes, '\\');
  line += '"';
}

}  // namespace

std::string JoinArguments(std::span<const std::string> arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    if (!line.empty()) line += ' ';
    if (argument.empty() || argument.find_first_of(" \t\n\v\"") != std::string::npos) {
      AppendQuoted(argument, line);
    } else {
      line += argument;
    }
  }
  return line;
}

LineCutter::LineCutter(std::function<void(std::string_view)> called) : onLine(std::move(called)) {}

void LineCutter::Feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const size_t end = bytes.find('\n');
    const std::string_view part = bytes.substr(0, end);
    line += part.substr(0, kLongestLine - std::min(kLongestLine, line.size()));
    if (end == std::string_view::npos) return;
    if (line.ends_with('\r')) line.pop_back();
    onLine(line);
    line.clear();
    bytes.remove_prefix(end + 1);
  }
}

}  // namespace talu
