#include "encoder/verdict_line.h"

#include <array>
#include <cinttypes>
#include <cstdio>

#include "base/utf8.h"

namespace talu {
namespace {

constexpr size_t kLongestDescription = 191;
constexpr std::string_view kGood = "good";
constexpr std::string_view kBad = "bad";

}  // namespace

std::string FormatGpuKey(std::string_view description, uint64_t driverVersion) {
  std::array<char, 17> version;
  std::snprintf(version.data(), version.size(), "%08" PRIX32 "%08" PRIX32,
                static_cast<uint32_t>(driverVersion >> 32), static_cast<uint32_t>(driverVersion));
  std::string key(WholeCharacters(description, kLongestDescription));
  key += '|';
  key += version.data();
  return key;
}

std::string FormatVerdictLine(std::string_view key, bool good) {
  std::string line(key);
  line += '\t';
  line += good ? kGood : kBad;
  line += '\n';
  return line;
}

bool ParseVerdict(std::string_view text, std::string_view key, bool& good) {
  const std::string_view line = text.substr(0, text.find('\n'));
  const size_t tab = line.find('\t');
  if (line.size() > kLongestVerdictLine || tab == std::string_view::npos ||
      line.substr(0, tab) != key) {
    return false;
  }
  good = line.substr(tab + 1) == kGood;
  return true;
}

const char* VerdictLogText(bool good) { return good ? "good(用硬编)" : "bad(用软编)"; }

}  // namespace talu
