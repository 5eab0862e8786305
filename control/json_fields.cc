#include "control/json_fields.h"

#include <array>
#include <charconv>

#include "control/byte_search.h"
#include "control/json_text.h"

namespace talu {
namespace {

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

}  // namespace

size_t FindFieldColon(std::string_view body, std::string_view key) {
  std::string pattern;
  pattern.reserve(key.size() + 2);
  pattern.append(1, '"').append(key).append(1, '"');
  const size_t found = FindFragment(body, pattern, 0);
  return found == kNotFound ? kNotFound : FindByte(body, ':', found + pattern.size());
}

bool JsonFindString(std::string_view body, std::string_view key, std::string& value) {
  const size_t colon = FindFieldColon(body, key);
  if (colon == kNotFound) {
    return false;
  }
  const size_t openingQuote = FindByte(body, '"', colon);
  if (openingQuote == kNotFound) {
    return false;
  }
  value.clear();
  return DecodeJsonText(body.substr(openingQuote + 1), value);
}

bool JsonFindInt(std::string_view body, std::string_view key, int32_t& value) {
  const size_t colon = FindFieldColon(body, key);
  if (colon == kNotFound) {
    return false;
  }
  const auto byteAt = [&](size_t at) { return at < body.size() ? body[at] : '\0'; };
  size_t at = colon + 1;
  while (byteAt(at) == ' ' || byteAt(at) == '\t') {
    ++at;
  }
  const bool negative = byteAt(at) == '-';
  if (negative) {
    ++at;
  }
  if (!IsDigit(byteAt(at))) {
    return false;
  }
  uint32_t magnitude = 0;
  for (; IsDigit(byteAt(at)); ++at) {
    magnitude = magnitude * 10 + static_cast<uint32_t>(body[at] - '0');
  }
  value = static_cast<int32_t>(negative ? 0 - magnitude : magnitude);
  return true;
}

std::string ExtractConnId(std::string_view body) {
  constexpr std::string_view kFragment = "\"conn\":\"";
  const size_t found = FindFragment(body, kFragment, 0);
  if (found == kNotFound) {
    return {};
  }
  const size_t start = found + kFragment.size();
  const size_t end = FindByte(body, '"', start);
  return end == kNotFound ? std::string() : std::string(body.substr(start, end - start));
}

bool HasType(std::string_view body, std::string_view name) {
  constexpr std::string_view kFragment = "\"type\":\"";
  for (size_t at = FindFragment(body, kFragment, 0); at != kNotFound;
       at = FindFragment(body, kFragment, at + 1)) {
    const std::string_view rest = body.substr(at + kFragment.size());
    if (rest.size() > name.size() && rest[name.size()] == '"' && rest.starts_with(name)) {
      return true;
    }
  }
  return false;
}

std::string DecimalText(int32_t number) {
  std::array<char, 11> digits;  // "-2147483648"
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

}  // namespace talu
