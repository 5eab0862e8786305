#include "control/json_fields.h"

#include <array>
#include <charconv>
#include <optional>

#include "control/byte_search.h"

namespace talu {
namespace {

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

std::optional<uint32_t> HexDigitValue(char byte) {
  if (IsDigit(byte)) return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
  return std::nullopt;
}

constexpr size_t kUnicodeEscapeBytes = 6;  // \uXXXX

// The code unit of the \uXXXX that text begins with; nothing when it begins with none.
std::optional<uint32_t> UnicodeEscapeValue(std::string_view text) {
  if (text.size() < kUnicodeEscapeBytes || text[0] != '\\' || text[1] != 'u') {
    return std::nullopt;
  }
  uint32_t unit = 0;
  for (const char byte : text.substr(2, 4)) {
    const std::optional<uint32_t> digit = HexDigitValue(byte);
    if (!digit) {
      return std::nullopt;
    }
    unit = unit << 4 | *digit;
  }
  return unit;
}

bool IsHighSurrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// Lone surrogates are encoded like any other code point.
void AppendUtf8(std::string& text, uint32_t codePoint) {
  const auto append = [&](uint32_t byte) { text.push_back(static_cast<char>(byte)); };
  const auto appendContinuation = [&](uint32_t bits) { append(0x80 | (bits & 0x3F)); };
  if (codePoint < 0x80) {
    append(codePoint);
  } else if (codePoint < 0x800) {
    append(0xC0 | codePoint >> 6);
    appendContinuation(codePoint);
  } else if (codePoint < 0x10000) {
    append(0xE0 | codePoint >> 12);
    appendContinuation(codePoint >> 6);
    appendContinuation(codePoint);
  } else {
    append(0xF0 | codePoint >> 18);
    appendContinuation(codePoint >> 12);
    appendContinuation(codePoint >> 6);
    appendContinuation(codePoint);
  }
}

// Decodes the \u escape that text begins with, together with a second one when both make a pair.
// The number of bytes used; 0 when the escape is broken.
size_t DecodeUnicodeEscape(std::string_view text, std::string& value) {
  const std::optional<uint32_t> unit = UnicodeEscapeValue(text);
  if (!unit) {
    return 0;
  }
  if (IsHighSurrogate(*unit)) {
    const std::optional<uint32_t> next = UnicodeEscapeValue(text.substr(kUnicodeEscapeBytes));
    if (next && IsLowSurrogate(*next)) {
      AppendUtf8(value, 0x10000 + ((*unit - 0xD800) << 10) + (*next - 0xDC00));
      return 2 * kUnicodeEscapeBytes;
    }
  }
  AppendUtf8(value, *unit);
  return kUnicodeEscapeBytes;
}

// What a backslash and this byte stand for; an unknown escape stands for the byte itself.
char ShortEscapeValue(char byte) {
  switch (byte) {
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return byte;
  }
}

// Decodes the escape that text, of two bytes at least, begins with. The number of bytes used; 0
// when it is broken.
size_t DecodeEscape(std::string_view text, std::string& value) {
  if (text[1] == 'u') {
    return DecodeUnicodeEscape(text, value);
  }
  value.push_back(ShortEscapeValue(text[1]));
  return 2;
}

// The second byte of a two-byte escape, or 0 for a byte that has none.
char ShortEscapeLetter(char byte) {
  switch (byte) {
    case '\b':
      return 'b';
    case '\t':
      return 't';
    case '\n':
      return 'n';
    case '\f':
      return 'f';
    case '\r':
      return 'r';
    case '"':
    case '\\':
      return byte;
    default:
      return 0;
  }
}

void AppendEscape(std::string& escaped, char byte) {
  const char letter = ShortEscapeLetter(byte);
  if (letter != 0) {
    const char escape[] = {'\\', letter};
    escaped.append(escape, sizeof escape);
    return;
  }
  constexpr char kHexDigits[] = "0123456789abcdef";
  const auto control = static_cast<unsigned char>(byte);
  const char escape[] = {'\\', 'u', '0', '0', kHexDigits[control >> 4], kHexDigits[control & 0xF]};
  escaped.append(escape, sizeof escape);
}

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
  size_t at = openingQuote + 1;
  while (true) {
    const size_t runEnd = FindQuoteOrBackslash(body, at);
    value.append(body, at, runEnd - at);
    at = runEnd;
    if (at == body.size()) {
      return false;
    }
    if (body[at] == '"') {
      return true;
    }
    if (at + 1 == body.size()) {
      value.push_back('\\');
      return false;
    }
    const size_t used = DecodeEscape(body.substr(at), value);
    if (used == 0) {
      return false;
    }
    at += used;
  }
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

std::string JsonEscape(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size() + 16);
  size_t at = 0;
  while (true) {
    const size_t runEnd = FindEscapable(text, at);
    escaped.append(text, at, runEnd - at);
    if (runEnd == text.size()) {
      return escaped;
    }
    AppendEscape(escaped, text[runEnd]);
    at = runEnd + 1;
  }
}

size_t JsonEscapedSize(std::string_view text) {
  size_t size = text.size();
  for (size_t at = FindEscapable(text, 0); at < text.size(); at = FindEscapable(text, at + 1)) {
    size += ShortEscapeLetter(text[at]) != 0 ? 1 : kUnicodeEscapeBytes - 1;
  }
  return size;
}

std::string DecimalText(int32_t number) {
  std::array<char, 11> digits;  // "-2147483648"
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

}  // namespace talu
