#include "base/utf8.h"

namespace talu {
namespace {

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// Bytes that a character starting with this byte takes (RFC 3629).
size_t CharacterLength(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  if (byte >= 0xF0) return 4;
  if (byte >= 0xE0) return 3;
  if (byte >= 0xC0) return 2;
  return 1;
}

constexpr size_t kLongestCharacter = 4;

}  // namespace

std::string_view WholeCharacters(std::string_view text, size_t maxBytes) {
  if (text.size() <= maxBytes) {
    return text;
  }
  size_t start = maxBytes;
  size_t steps = 0;
  while (start > 0 && steps < kLongestCharacter && IsContinuation(text[start])) {
    --start;
    ++steps;
  }
  const bool cutsCharacter = start < maxBytes && start + CharacterLength(text[start]) > maxBytes;
  return text.substr(0, cutsCharacter ? start : maxBytes);
}

}  // namespace talu
