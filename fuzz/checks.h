// What every fuzz target needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace talu {

// Ends the run with a report when a rule does not hold.
inline void Check(bool holds, const char* rule) {
  if (!holds) {
    std::fprintf(stderr, "broken: %s\n", rule);
    std::abort();
  }
}

// The log goes nowhere, for speed; libFuzzer itself writes to stderr.
inline void SilenceLog() {
  static const bool silent = std::freopen("/dev/null", "w", stdout) != nullptr;
  Check(silent, "/dev/null can be opened");
}

inline std::string_view TextOf(const uint8_t* bytes, size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

// Takes text's beginning up to the separator off, which goes too; all of it without a separator.
inline std::string_view TakeUntil(std::string_view& text, char separator) {
  const size_t end = text.find(separator);
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(end == text.npos ? text.size() : end + 1);
  return taken;
}

}  // namespace talu
