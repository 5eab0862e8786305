#include "devkit/controller/script_line.h"

#include <gtest/gtest.h>

namespace talu::controller {
namespace {

std::string BytesOf(const std::string& line) {
  std::string complaint;
  const std::optional<Action> action = ParseScriptLine(line, &complaint);
  if (!action || action->kind != ActionKind::kSendBinary) return "(none)";
  return {action->bytes.begin(), action->bytes.end()};
}

std::string TextOf(const std::string& line) {
  std::string complaint;
  const std::optional<Action> action = ParseScriptLine(line, &complaint);
  if (!action || action->kind != ActionKind::kSendText) return "(none)";
  return action->text;
}

TEST(ScriptLine, AnyOtherTextIsAControlMessage) {
  EXPECT_EQ(BytesOf("{\"type\":\"reset\"}"), "\2{\"type\":\"reset\"}");
  EXPECT_EQ(BytesOf(""), "\2");
  EXPECT_EQ(BytesOf("/send /etc"), "\2/etc");
  EXPECT_EQ(BytesOf("/send  a b "), "\2 a b ");
}

TEST(ScriptLine, CarriesLabelsAndRawBytes) {
  EXPECT_EQ(BytesOf("/label in {\"a\": 1}"), std::string("\3\2in{\"a\": 1}"));
  EXPECT_EQ(BytesOf("/label in"), std::string("\3\2in"));
  EXPECT_EQ(BytesOf("/hex 00ffC0"), std::string("\2\0\xff\xc0", 4));
  EXPECT_EQ(BytesOf("/hex 0"), "(none)");
  EXPECT_EQ(BytesOf("/hex 0g"), "(none)");
  EXPECT_EQ(BytesOf("/hex -1"), "(none)");
  EXPECT_EQ(BytesOf("/label " + std::string(256, 'x') + " a"), "(none)");
}

TEST(ScriptLine, MakesCommands) {
  EXPECT_EQ(TextOf("/keyframe"), "{\"command\":\"keyframe\"}");
  EXPECT_EQ(TextOf("/screen_info"), "{\"command\":\"screen_info\"}");
  EXPECT_EQ(TextOf("/profile 60 3000 -1"),
            "{\"command\":\"profile\",\"fps\":60,\"max\":3000,\"min\":-1}");
  EXPECT_EQ(TextOf("/command any thing"), "any thing");
}

TEST(ScriptLine, WaitsForTextAndTime) {
  std::string complaint;
  const auto until = ParseScriptLine("/until \"type\":\"screens\"", &complaint);
  ASSERT_TRUE(until);
  EXPECT_EQ(until->kind, ActionKind::kWaitForText);
  EXPECT_EQ(until->text, "\"type\":\"screens\"");
  const auto sleep = ParseScriptLine("/sleep 250", &complaint);
  ASSERT_TRUE(sleep);
  EXPECT_EQ(sleep->kind, ActionKind::kSleep);
  EXPECT_EQ(sleep->ms, 250);
}

TEST(ScriptLine, RefusesWhatItDoesNotKnow) {
  for (const char* line :
       {"/", "/jump", "/keyframe now", "/profile 60", "/profile 60 1 2 3", "/profile a b c",
        "/sleep", "/sleep -1", "/sleep 1s", "/until", "/until "}) {
    std::string complaint;
    EXPECT_FALSE(ParseScriptLine(line, &complaint)) << line;
    EXPECT_EQ(complaint, std::string("cannot understand the line ") + line);
  }
}

}  // namespace
}  // namespace talu::controller
