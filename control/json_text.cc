#include "control/json_text.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>

#include "control/byte_search.h"

namespace talu {
namespace {

constexpr size_t kBlockBytes = sizeof(__m128i);
constexpr size_t kUnicodeEscapeBytes = 6;  // \uXXXX

// --- Decoding ------------------------------------------------------------------------------------

constexpr uint8_t kNoHexDigit = 0xFF;

constexpr std::array<uint8_t, 256> kHexDigitValues = [] {
  std::array<uint8_t, 256> values{};
  values.fill(kNoHexDigit);
  for (uint8_t digit = 0; digit < 10; ++digit) values['0' + digit] = digit;
  for (uint8_t digit = 10; digit < 16; ++digit) {
    values['a' + digit - 10] = digit;
    values['A' + digit - 10] = digit;
  }
  return values;
}();

// The code unit of the \uXXXX that text begins with; nothing when it begins with none.
std::optional<uint32_t> UnicodeEscapeValue(std::string_view text) {
  if (text.size() < kUnicodeEscapeBytes || text[0] != '\\' || text[1] != 'u') {
    return std::nullopt;
  }
  const auto digit = [&](size_t at) -> uint32_t {
    return kHexDigitValues[static_cast<uint8_t>(text[at])];
  };
  if ((digit(2) | digit(3) | digit(4) | digit(5)) > 0xF) {
    return std::nullopt;
  }
  return digit(2) << 12 | digit(3) << 8 | digit(4) << 4 | digit(5);
}

// The same of a character of one byte, as control characters are written; they can fill a text.
std::optional<char> AsciiEscapeValue(std::string_view text) {
  if (text.size() < kUnicodeEscapeBytes || std::memcmp(text.data(), "\\u00", 4) != 0) {
    return std::nullopt;
  }
  const uint32_t high = kHexDigitValues[static_cast<uint8_t>(text[4])];
  const uint32_t low = kHexDigitValues[static_cast<uint8_t>(text[5])];
  if (high > 7 || low > 0xF) {
    return std::nullopt;
  }
  return static_cast<char>(high << 4 | low);
}

bool IsHighSurrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// What follows writes at next, which it moves on: a string's own append costs more than an escape.
constexpr size_t kLongestCharacter = 4;

// Lone surrogates are encoded like any other code point.
void WriteUtf8(char*& next, uint32_t codePoint) {
  const auto append = [&](uint32_t byte) { *next++ = static_cast<char>(byte); };
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
size_t DecodeUnicodeEscape(std::string_view text, char*& next) {
  if (const std::optional<char> ascii = AsciiEscapeValue(text)) {
    *next++ = *ascii;
    return kUnicodeEscapeBytes;
  }
  const std::optional<uint32_t> unit = UnicodeEscapeValue(text);
  if (!unit) {
    return 0;
  }
  if (IsHighSurrogate(*unit)) {
    const std::optional<uint32_t> low = UnicodeEscapeValue(text.substr(kUnicodeEscapeBytes));
    if (low && IsLowSurrogate(*low)) {
      WriteUtf8(next, 0x10000 + ((*unit - 0xD800) << 10) + (*low - 0xDC00));
      return 2 * kUnicodeEscapeBytes;
    }
  }
  WriteUtf8(next, *unit);
  return kUnicodeEscapeBytes;
}

// What a backslash and a byte stand for; an unknown escape stands for the byte itself.
constexpr std::array<char, 256> kShortEscapeValues = [] {
  std::array<char, 256> values{};
  for (size_t byte = 0; byte < values.size(); ++byte) values[byte] = static_cast<char>(byte);
  values['b'] = '\b';
  values['f'] = '\f';
  values['n'] = '\n';
  values['r'] = '\r';
  values['t'] = '\t';
  return values;
}();

// Decodes the escape that text, of two bytes at least, begins with. The number of bytes used; 0
// when it is broken.
size_t DecodeEscape(std::string_view text, char*& next) {
  if (text[1] == 'u') {
    return DecodeUnicodeEscape(text, next);
  }
  *next++ = kShortEscapeValues[static_cast<uint8_t>(text[1])];
  return 2;
}

__m128i LoadBlock(const char* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

void StoreBlock(char* target, __m128i block) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(target), block);
}

// One bit for each of sixteen bytes that is this one.
uint32_t PlacesOf(char byte, __m128i block) {
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(byte))));
}

// Decodes eight escapes of two bytes each.
void DecodeShortEscapes(const char* text, char*& next) {
  for (size_t at = 1; at < kBlockBytes; at += 2) {
    *next++ = kShortEscapeValues[static_cast<uint8_t>(text[at])];
  }
}

// Decodes sixteen bytes or one more, up to a quote or a \u escape, where it stops. Reads and writes
// two blocks' bytes at the most. The number of bytes used; 0 when there is no escape among them.
size_t DecodeBlock(const char* text, char*& next) {
  const __m128i block = LoadBlock(text);
  const uint32_t quotes = PlacesOf('"', block);
  const uint32_t backslashes = PlacesOf('\\', block);
  const uint32_t beforeU = PlacesOf('u', LoadBlock(text + 1));
  // Every other byte, that is, escapes alone.
  constexpr uint32_t kEveryOther = 0x5555;
  if ((backslashes & ~beforeU & kEveryOther) == kEveryOther) {
    DecodeShortEscapes(text, next);
    return kBlockBytes;
  }
  if (backslashes == 0) {
    return 0;
  }
  const uint32_t ends = quotes | (backslashes & beforeU);
  uint32_t stops = quotes | backslashes;
  size_t used = 0;
  while (stops != 0) {
    const auto stop = static_cast<uint32_t>(std::countr_zero(stops));
    // Whole, of which the bytes before the stop count.
    StoreBlock(next, LoadBlock(text + used));
    next += stop - used;
    if ((ends >> stop & 1) != 0) {
      return stop;
    }
    *next++ = kShortEscapeValues[static_cast<uint8_t>(text[stop + 1])];
    used = stop + 2;
    // The escaped byte may be a quote or a backslash itself.
    stops &= ~(uint32_t{3} << stop);
  }
  if (used < kBlockBytes) {
    StoreBlock(next, LoadBlock(text + used));
    next += kBlockBytes - used;
    used = kBlockBytes;
  }
  return used;
}

constexpr size_t kDenseBytes = 2 * kBlockBytes;

// Decodes a stretch of text that begins with an escape and goes on with many: up to a block without
// any, a quote, a broken escape, or the last bytes of text. Text has kDenseBytes at least. The
// number of bytes used; 0 when the first escape is broken.
size_t DecodeDenseText(const std::string_view text, std::string& value) {
  // Not cleared: only what has been written is read.
  std::array<char, 1024> piece;
  char* next = piece.data();
  const char* const full = piece.data() + piece.size() - 2 * kBlockBytes;
  size_t at = 0;
  while (text.size() - at >= kDenseBytes && next <= full) {
    const char* const here = text.data() + at;
    const bool unicode = here[0] == '\\' && here[1] == 'u';
    const size_t used =
        unicode ? DecodeUnicodeEscape(text.substr(at), next) : DecodeBlock(here, next);
    if (used == 0) {
      break;
    }
    at += used;
  }
  value.append(piece.data(), static_cast<size_t>(next - piece.data()));
  return at;
}

// Decodes the escape that text, of two bytes at least, begins with, and perhaps what follows it,
// where dense says that many escapes do. The number of bytes used; 0 when the escape is broken.
size_t DecodeFromEscape(std::string_view text, bool dense, std::string& value) {
  if (dense && text.size() >= kDenseBytes) {
    return DecodeDenseText(text, value);
  }
  std::array<char, kLongestCharacter> character;
  char* next = character.data();
  const size_t used = DecodeEscape(text, next);
  value.append(character.data(), static_cast<size_t>(next - character.data()));
  return used;
}

// --- Escaping ------------------------------------------------------------------------------------

// What a byte becomes, ready to be stored in one move.
struct Escape {
  char bytes[7];
  uint8_t byteCount;
};
static_assert(sizeof(Escape) == 8);

constexpr Escape EscapeOf(uint8_t byte) {
  constexpr char kHexDigits[] = "0123456789abcdef";
  const auto with = [](char letter) { return Escape{{'\\', letter}, 2}; };
  switch (byte) {
    case '\b':
      return with('b');
    case '\t':
      return with('t');
    case '\n':
      return with('n');
    case '\f':
      return with('f');
    case '\r':
      return with('r');
    case '"':
    case '\\':
      return with(static_cast<char>(byte));
    default:
      break;
  }
  if (byte < 0x20) {
    return {{'\\', 'u', '0', '0', kHexDigits[byte >> 4], kHexDigits[byte & 0xF]}, 6};
  }
  return {{static_cast<char>(byte)}, 1};
}

constexpr std::array<Escape, 256> kEscapes = [] {
  std::array<Escape, 256> escapes{};
  for (size_t byte = 0; byte < escapes.size(); ++byte) {
    escapes[byte] = EscapeOf(static_cast<uint8_t>(byte));
  }
  return escapes;
}();

const Escape& EscapeFor(char byte) { return kEscapes[static_cast<uint8_t>(byte)]; }

// This many bytes are escaped one by one where escapes are many.
constexpr size_t kEscapedTogether = 128;

void AppendEscaped(std::string& escaped, std::string_view bytes) {
  std::array<char, kEscapedTogether * kUnicodeEscapeBytes + sizeof(Escape)> piece;
  char* next = piece.data();
  for (const char byte : bytes) {
    const Escape& escape = EscapeFor(byte);
    std::memcpy(next, &escape, sizeof escape);
    next += escape.byteCount;
  }
  escaped.append(piece.data(), static_cast<size_t>(next - piece.data()));
}

// How many bytes to escape one by one after a run of bytes that need it not: one, or many where the
// run is short, for then so is the next.
size_t BytesToEscape(std::string_view text, size_t run) {
  return std::min(text.size(), run < kBlockBytes ? kEscapedTogether : 1);
}

}  // namespace

bool DecodeJsonText(std::string_view text, std::string& value) {
  while (true) {
    const size_t run = FindQuoteOrBackslash(text, 0);
    value.append(text, 0, run);
    text.remove_prefix(run);
    if (text.empty()) {
      return false;
    }
    if (text[0] == '"') {
      return true;
    }
    if (text.size() == 1) {
      value.push_back('\\');
      return false;
    }
    const size_t used = DecodeFromEscape(text, run < kBlockBytes, value);
    if (used == 0) {
      return false;
    }
    text.remove_prefix(used);
  }
}

std::string JsonEscape(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size() + 16);
  while (true) {
    const size_t run = FindEscapable(text, 0);
    escaped.append(text, 0, run);
    if (run == text.size()) {
      return escaped;
    }
    text.remove_prefix(run);
    const size_t count = BytesToEscape(text, run);
    AppendEscaped(escaped, text.substr(0, count));
    text.remove_prefix(count);
  }
}

size_t JsonEscapedSize(std::string_view text) {
  size_t size = 0;
  while (true) {
    const size_t run = FindEscapable(text, 0);
    size += run;
    if (run == text.size()) {
      return size;
    }
    text.remove_prefix(run);
    const size_t count = BytesToEscape(text, run);
    for (const char byte : text.substr(0, count)) size += EscapeFor(byte).byteCount;
    text.remove_prefix(count);
  }
}

}  // namespace talu
