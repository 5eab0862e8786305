// The texts by which a machine's hardware verdict is remembered: who the adapter is, and the one
// line of the verdict file.
//
// Plain functions, called by any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace talu {

// The longest first line of a verdict file that is looked at; none that was written here is longer.
constexpr size_t kLongestVerdictLine = 1023;

// Names an adapter with its driver: "DESCRIPTION|VERSION", the version as 16 upper-case hexadecimal
// digits. The description is UTF-8; of a very long one its first 191 bytes count, less a character
// that they would cut.
std::string FormatGpuKey(std::string_view description, uint64_t driverVersion);

// The key, a tab, "good" or "bad", a line feed.
std::string FormatVerdictLine(std::string_view key, bool good);

// What a file that begins with text says about key. True on a hit, with good set: any word but
// "good" is a bad verdict. Lines of another key, without a tab or beyond the limit are misses,
// which leave good as it was.
bool ParseVerdict(std::string_view text, std::string_view key, bool& good);

// How the log names a verdict.
const char* VerdictLogText(bool good);

}  // namespace talu
