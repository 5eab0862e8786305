#include "encoder/verdict_line.h"

#include <gtest/gtest.h>

namespace talu {
namespace {

constexpr char kKey[] = "Example Display Adapter|001F000000651196";

TEST(FormatGpuKey, JoinsDescriptionAndDriverVersion) {
  // Driver 31.0.101.4502.
  EXPECT_EQ(FormatGpuKey("Example Display Adapter", 0x001F0000'00651196), kKey);
}

TEST(FormatGpuKey, PadsAndCapitalisesBothHalvesOfTheVersion) {
  EXPECT_EQ(FormatGpuKey("A", 0), "A|0000000000000000");
  EXPECT_EQ(FormatGpuKey("A", 0xABCDEF01'0000000F), "A|ABCDEF010000000F");
}

TEST(FormatGpuKey, KeepsAnyCharacters) {
  EXPECT_EQ(FormatGpuKey("显卡 é", 1), "显卡 é|0000000000000001");
  EXPECT_EQ(FormatGpuKey("", 1), "|0000000000000001");
}

TEST(FormatGpuKey, CutsADescriptionBeyond191BytesAtAWholeCharacter) {
  EXPECT_EQ(FormatGpuKey(std::string(191, 'x'), 0), std::string(191, 'x') + "|0000000000000000");
  EXPECT_EQ(FormatGpuKey(std::string(384, 'x'), 0), std::string(191, 'x') + "|0000000000000000");
  std::string chinese;
  while (chinese.size() < 384) chinese += "卡";
  EXPECT_EQ(FormatGpuKey(chinese, 0), chinese.substr(0, 189) + "|0000000000000000");
}

TEST(FormatVerdictLine, IsKeyTabWordLineFeed) {
  EXPECT_EQ(FormatVerdictLine(kKey, true), "Example Display Adapter|001F000000651196\tgood\n");
  EXPECT_EQ(FormatVerdictLine(kKey, false), "Example Display Adapter|001F000000651196\tbad\n");
}

// What ParseVerdict makes of a file for kKey: "good", "bad" or "miss".
std::string Read(std::string_view text) {
  for (const bool before : {false, true}) {
    bool good = before;
    if (ParseVerdict(text, kKey, good)) {
      bool again = !before;
      EXPECT_TRUE(ParseVerdict(text, kKey, again));
      EXPECT_EQ(good, again);
      return good ? "good" : "bad";
    }
    EXPECT_EQ(good, before) << "a miss changed the verdict";
  }
  return "miss";
}

TEST(ParseVerdict, ReadsWhatWasFormatted) {
  EXPECT_EQ(Read(FormatVerdictLine(kKey, true)), "good");
  EXPECT_EQ(Read(FormatVerdictLine(kKey, false)), "bad");
}

TEST(ParseVerdict, MissesAGoodVerdictForAnotherDriverVersion) {
  EXPECT_EQ(Read("Example Display Adapter|001F000000651197\tgood\n"), "miss");
}

TEST(ParseVerdict, MissesKeysThatOnlyBeginAlike) {
  EXPECT_EQ(Read(std::string(kKey) + "0\tgood\n"), "miss");
  EXPECT_EQ(Read("Example Display Adapter|001F00000065119\tgood\n"), "miss");
  EXPECT_EQ(Read("\tgood\n"), "miss");
}

TEST(ParseVerdict, MissesWithoutATabOrWithAnEmptyFirstLine) {
  EXPECT_EQ(Read(""), "miss");
  EXPECT_EQ(Read("\n"), "miss");
  EXPECT_EQ(Read(std::string(kKey) + " good\n"), "miss");
  EXPECT_EQ(Read("\n" + FormatVerdictLine(kKey, true)), "miss");
  EXPECT_EQ(Read(std::string(kKey) + "\n\tgood\n"), "miss");
}

TEST(ParseVerdict, TakesAnyOtherWordForBad) {
  const std::string start = std::string(kKey) + "\t";
  for (const char* word : {"", "Good", "GOOD", "goo", "goods", "good ", " good", "good\t", "good\r",
                           "bad", "x", "\tgood"}) {
    EXPECT_EQ(Read(start + word + "\n"), "bad") << '"' << word << '"';
  }
}

TEST(ParseVerdict, NeedsNoLineEnd) { EXPECT_EQ(Read(std::string(kKey) + "\tgood"), "good"); }

TEST(ParseVerdict, ReadsTheFirstLineOnly) {
  EXPECT_EQ(Read(FormatVerdictLine(kKey, true) + FormatVerdictLine(kKey, false)), "good");
  EXPECT_EQ(Read("other\tgood\n" + FormatVerdictLine(kKey, true)), "miss");
}

TEST(ParseVerdict, IsSafeWithAFileTruncatedAtEveryLength) {
  const std::string whole = FormatVerdictLine(kKey, true);
  const size_t word = whole.find('\t') + 1;
  for (size_t length = 0; length <= whole.size(); ++length) {
    const std::string expected = length < word ? "miss" : length < word + 4 ? "bad" : "good";
    EXPECT_EQ(Read(whole.substr(0, length)), expected) << length;
  }
}

TEST(ParseVerdict, MissesALineBeyondTheLimit) {
  const std::string start = std::string(kKey) + "\t";
  const std::string longest = start + std::string(kLongestVerdictLine - start.size(), 'x');
  EXPECT_EQ(Read(longest), "bad");
  EXPECT_EQ(Read(longest + "\n"), "bad");
  EXPECT_EQ(Read(longest + "x"), "miss");
  EXPECT_EQ(Read(longest + std::string(100'000, 'x')), "miss");
}

TEST(ParseVerdict, IsSafeWithNulBytes) {
  using namespace std::string_literals;
  EXPECT_EQ(Read("\0\0\0\0\n"s), "miss");
  EXPECT_EQ(Read(std::string(kKey) + "\tgood\0\n"s), "bad");
}

TEST(VerdictLogText, NamesTheEncoderToBeUsed) {
  EXPECT_STREQ(VerdictLogText(true), "good(用硬编)");
  EXPECT_STREQ(VerdictLogText(false), "bad(用软编)");
}

}  // namespace
}  // namespace talu
