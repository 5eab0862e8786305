#include "control/byte_search.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/fakes/exact_bytes.h"

namespace talu {
namespace {

// Few different bytes, so that near misses are common.
std::string RandomBytes(std::mt19937& random, size_t length) {
  constexpr std::string_view kLetters = "\"\\ty:a\x1F\xC3";
  std::string bytes;
  for (size_t at = 0; at < length; ++at) {
    bytes.push_back(kLetters[random() % kLetters.size()]);
  }
  return bytes;
}

size_t FirstOf(std::string_view bytes, size_t from, bool (*matches)(char)) {
  for (size_t at = from; at < bytes.size(); ++at) {
    if (matches(bytes[at])) return at;
  }
  return bytes.size();
}

bool IsQuoteOrBackslash(char byte) { return byte == '"' || byte == '\\'; }

bool IsEscapable(char byte) {
  return IsQuoteOrBackslash(byte) || static_cast<unsigned char>(byte) < 0x20;
}

TEST(ByteSearch, AgreesWithThePlainSearchAtEveryLengthAndStart) {
  std::mt19937 random(1);
  for (size_t length = 0; length < 70; ++length) {
    const ExactBytes exact(RandomBytes(random, length));
    const std::string_view bytes = exact.View();
    for (size_t from = 0; from <= length; ++from) {
      ASSERT_EQ(FindByte(bytes, '"', from), bytes.find('"', from)) << length << " from " << from;
      ASSERT_EQ(FindFragment(bytes, "\"t", from), bytes.find("\"t", from));
      ASSERT_EQ(FindFragment(bytes, "\"ty", from), bytes.find("\"ty", from));
      ASSERT_EQ(FindQuoteOrBackslash(bytes, from), FirstOf(bytes, from, IsQuoteOrBackslash));
      ASSERT_EQ(FindEscapable(bytes, from), FirstOf(bytes, from, IsEscapable));
    }
  }
}

TEST(ByteSearch, FindsAFragmentAtEveryPlace) {
  constexpr std::string_view kFragment = "\"type\":\"bye\"";
  for (size_t before = 0; before < 50; ++before) {
    for (size_t after = 0; after < 50; ++after) {
      const std::string text =
          std::string(before, '"') + std::string(kFragment) + std::string(after, 't');
      const ExactBytes body(text);
      ASSERT_EQ(FindFragment(body.View(), kFragment, 0), before);
      ASSERT_EQ(FindFragment(body.View(), kFragment, before), before);
      ASSERT_EQ(FindFragment(body.View(), kFragment, before + 1), kNotFound);
    }
  }
}

TEST(ByteSearch, DoesNotFindAFragmentThatBreaksOffAtTheEnd) {
  const std::string text = std::string(40, 'x') + "\"type\":\"by";
  for (size_t start = 0; start < text.size(); ++start) {
    const ExactBytes body(std::string_view(text).substr(start));
    ASSERT_EQ(FindFragment(body.View(), "\"type\":\"bye\"", 0), kNotFound) << start;
  }
}

TEST(ByteSearch, FindsNothingPastTheEnd) {
  EXPECT_EQ(FindByte("abc", 'a', 3), kNotFound);
  EXPECT_EQ(FindByte("abc", 'a', 99), kNotFound);
  EXPECT_EQ(FindFragment("abc", "ab", 99), kNotFound);
  EXPECT_EQ(FindFragment("", "ab", 0), kNotFound);
  EXPECT_EQ(FindQuoteOrBackslash("abc", 99), 3u);
  EXPECT_EQ(FindEscapable("abc", 99), 3u);
}

TEST(ByteSearch, TakesBytesAsUnsignedWhenLookingForControls) {
  std::string bytes;
  for (int byte = 0x20; byte < 0x100; ++byte) {
    if (!IsQuoteOrBackslash(static_cast<char>(byte))) bytes.push_back(static_cast<char>(byte));
  }
  EXPECT_EQ(FindEscapable(bytes, 0), bytes.size());
  for (int byte = 0; byte < 0x20; ++byte) {
    const std::string withControl = bytes + static_cast<char>(byte) + bytes;
    EXPECT_EQ(FindEscapable(withControl, 0), bytes.size()) << byte;
  }
}

}  // namespace
}  // namespace talu
