#include "base/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace talu {
namespace {

TEST(WholeCharacters, LeavesAShortTextAlone) {
  EXPECT_EQ(WholeCharacters("abc", 3), "abc");
  EXPECT_EQ(WholeCharacters("屏幕", 6), "屏幕");
  EXPECT_EQ(WholeCharacters("", 0), "");
}

TEST(WholeCharacters, NeverEndsInsideACharacter) {
  EXPECT_EQ(WholeCharacters("abcd", 3), "abc");
  EXPECT_EQ(WholeCharacters("屏幕", 5), "屏");
  EXPECT_EQ(WholeCharacters("屏幕", 4), "屏");
  EXPECT_EQ(WholeCharacters("屏幕", 3), "屏");
  EXPECT_EQ(WholeCharacters("屏幕", 2), "");
  EXPECT_EQ(WholeCharacters("a\xF0\x9F\x98\x80z", 4), "a");
  EXPECT_EQ(WholeCharacters("a\xF0\x9F\x98\x80z", 5), "a\xF0\x9F\x98\x80");
  EXPECT_EQ(WholeCharacters("\xC3\xA9\xC3\xA9", 3), "\xC3\xA9");
}

TEST(WholeCharacters, CutsBytesThatAreNoCharactersWhereAsked) {
  const std::string continuations(20, '\x80');
  EXPECT_EQ(WholeCharacters(continuations, 10), continuations.substr(0, 10));
  EXPECT_EQ(WholeCharacters("\xFF\xFF\xFF", 0), "");
}

}  // namespace
}  // namespace talu
