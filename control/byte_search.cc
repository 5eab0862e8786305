#include "control/byte_search.h"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace talu {
namespace {

constexpr size_t kBlockBytes = sizeof(__m128i);

__m128i LoadBlock(const char* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// One bit for each byte of a block, set where the comparison held.
uint32_t BitsOf(__m128i matches) { return static_cast<uint32_t>(_mm_movemask_epi8(matches)); }

// The lowest position at or after from that matches, else the size of bytes. blockBits tells the
// matches among sixteen bytes, isMatch tells them one by one.
template <typename BlockBits, typename IsMatch>
size_t FindMatch(std::string_view bytes, size_t from, BlockBits blockBits, IsMatch isMatch) {
  size_t at = std::min(from, bytes.size());
  for (; bytes.size() - at >= kBlockBytes; at += kBlockBytes) {
    const uint32_t bits = blockBits(LoadBlock(bytes.data() + at));
    if (bits != 0) {
      return at + static_cast<size_t>(std::countr_zero(bits));
    }
  }
  while (at < bytes.size() && !isMatch(bytes[at])) {
    ++at;
  }
  return at;
}

}  // namespace

size_t FindByte(std::string_view body, char byte, size_t from) {
  const __m128i wanted = _mm_set1_epi8(byte);
  const size_t found = FindMatch(
      body, from, [&](__m128i block) { return BitsOf(_mm_cmpeq_epi8(block, wanted)); },
      [&](char candidate) { return candidate == byte; });
  return found == body.size() ? kNotFound : found;
}

size_t FindFragment(std::string_view body, std::string_view fragment, size_t from) {
  if (body.size() < fragment.size()) {
    return kNotFound;
  }
  const size_t lastStart = body.size() - fragment.size();
  const auto standsAt = [&](size_t at) {
    return std::memcmp(body.data() + at, fragment.data(), fragment.size()) == 0;
  };
  const __m128i first = _mm_set1_epi8(fragment[0]);
  const __m128i second = _mm_set1_epi8(fragment[1]);
  size_t at = from;
  // The second block begins one byte later and must end inside the body, too.
  for (; at <= lastStart && body.size() - at > kBlockBytes; at += kBlockBytes) {
    uint32_t bits = BitsOf(_mm_and_si128(_mm_cmpeq_epi8(LoadBlock(body.data() + at), first),
                                         _mm_cmpeq_epi8(LoadBlock(body.data() + at + 1), second)));
    for (; bits != 0; bits &= bits - 1) {
      const size_t start = at + static_cast<size_t>(std::countr_zero(bits));
      if (start > lastStart) {
        return kNotFound;
      }
      if (standsAt(start)) {
        return start;
      }
    }
  }
  for (; at <= lastStart; ++at) {
    if (body[at] == fragment[0] && standsAt(at)) {
      return at;
    }
  }
  return kNotFound;
}

size_t FindQuoteOrBackslash(std::string_view body, size_t from) {
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  return FindMatch(
      body, from,
      [&](__m128i block) {
        return BitsOf(_mm_or_si128(_mm_cmpeq_epi8(block, quote), _mm_cmpeq_epi8(block, backslash)));
      },
      [](char byte) { return byte == '"' || byte == '\\'; });
}

size_t FindEscapable(std::string_view text, size_t from) {
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  const __m128i lastControl = _mm_set1_epi8(0x1F);
  return FindMatch(
      text, from,
      [&](__m128i block) {
        const __m128i quoted =
            _mm_or_si128(_mm_cmpeq_epi8(block, quote), _mm_cmpeq_epi8(block, backslash));
        // Unsigned: bytes from 0x80 up are parts of characters, not controls.
        const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(block, lastControl), block);
        return BitsOf(_mm_or_si128(quoted, control));
      },
      [](char byte) {
        return byte == '"' || byte == '\\' || static_cast<unsigned char>(byte) < 0x20;
      });
}

}  // namespace talu
