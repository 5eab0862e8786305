#include "devkit/launcher/command_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace talu {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string Join(std::vector<std::string> arguments) { return JoinArguments(arguments); }

TEST(JoinArguments, LeavesPlainArgumentsAlone) {
  EXPECT_EQ(Join({"host.exe", "--token", "a\\b\\"}), "host.exe --token a\\b\\");
}

TEST(JoinArguments, QuotesEmptyArgumentsAndThoseWithSpaces) {
  EXPECT_EQ(Join({"h", "", "a b", "tab\there"}), "h \"\" \"a b\" \"tab\there\"");
}

TEST(JoinArguments, EscapesQuotesAndTheBackslashesBeforeThem) {
  EXPECT_EQ(Join({"say \"hi\""}), "\"say \\\"hi\\\"\"");
  EXPECT_EQ(Join({"a\\\\\"b"}), "\"a\\\\\\\\\\\"b\"");
  EXPECT_EQ(Join({"C:\\my files\\"}), "\"C:\\my files\\\\\"");
  EXPECT_EQ(Join({"a\\b c"}), "\"a\\b c\"");
}

class LineCutterTest : public ::testing::Test {
 protected:
  std::vector<std::string> lines;
  LineCutter cutter{[this](std::string_view line) { lines.emplace_back(line); }};
};

TEST_F(LineCutterTest, TakesBothKindsOfLineEnd) {
  cutter.Feed("[host] READY\r\nsecond\n\nlast");
  EXPECT_THAT(lines, ElementsAre("[host] READY", "second", ""));
}

TEST_F(LineCutterTest, PutsALineTogetherFromItsPieces) {
  for (const char byte : std::string("ab\r\ncd\n")) cutter.Feed(std::string(1, byte));
  EXPECT_THAT(lines, ElementsAre("ab", "cd"));
}

TEST_F(LineCutterTest, AnEndlessLineTakesNoEndlessMemory) {
  const std::string piece(1000, 'x');
  for (int i = 0; i < 100; ++i) cutter.Feed(piece);
  EXPECT_THAT(lines, IsEmpty());
  cutter.Feed("\nnext\n");
  EXPECT_THAT(lines, ElementsAre(std::string(LineCutter::kLongestLine, 'x'), "next"));
}

}  // namespace
}  // namespace talu
