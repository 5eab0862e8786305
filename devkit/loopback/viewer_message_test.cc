#include "devkit/loopback/viewer_message.h"

#include <gtest/gtest.h>

#include <vector>

namespace talu::loopback {
namespace {

std::optional<ViewerControl> Control(const std::string& message) {
  // Without the NUL that follows a string, so that a read past the end is noticed.
  const std::vector<uint8_t> bytes(message.begin(), message.end());
  return ParseViewerControl(bytes);
}

TEST(ParseViewerCommand, ReadsAProfileInAnyOrderAndSpacing) {
  const auto command = ParseViewerCommand(
      " {\t\"min\" : -3 ,\r\n\"fps\":60,\"command\":\"profile\",\"max\":8000 } ");
  ASSERT_TRUE(command);
  EXPECT_EQ(command->kind, ViewerCommandKind::kProfile);
  EXPECT_EQ(command->profile.width, 0);
  EXPECT_EQ(command->profile.height, 0);
  EXPECT_EQ(command->profile.fps, 60);
  EXPECT_EQ(command->profile.maxKbps, 8000);
  EXPECT_EQ(command->profile.minKbps, -3);
}

TEST(ParseViewerCommand, WhatAProfileLeavesOutIsZero) {
  const auto command = ParseViewerCommand("{\"command\":\"profile\"}");
  ASSERT_TRUE(command);
  EXPECT_EQ(command->profile.fps, 0);
}

TEST(ParseViewerCommand, ReadsTheRequests) {
  EXPECT_EQ(ParseViewerCommand("{\"command\":\"keyframe\"}")->kind, ViewerCommandKind::kKeyframe);
  EXPECT_EQ(ParseViewerCommand("{\"command\":\"screen_info\"}")->kind,
            ViewerCommandKind::kScreenInfo);
}

TEST(ParseViewerCommand, RefusesEverythingElse) {
  for (const char* text : {"",
                           "{}",
                           "[]",
                           "{\"command\":\"keyframe\"",
                           "{\"command\":\"keyframe\"}x",
                           "{\"command\":\"other\"}",
                           "{\"command\":1}",
                           "{\"fps\":1}",
                           "{\"command\":\"keyframe\",\"fps\":1}",
                           "{\"command\":\"keyframe\",\"command\":\"keyframe\"}",
                           "{\"command\":\"profile\",\"fps\":1,\"fps\":2}",
                           "{\"command\":\"profile\",\"fps\":1.5}",
                           "{\"command\":\"profile\",\"fps\":\"1\"}",
                           "{\"command\":\"profile\",\"fps\":2147483648}",
                           "{\"command\":\"profile\",\"fps\":--1}",
                           "{\"command\":\"profile\",\"fps\":}",
                           "{\"command\":\"profile\",\"other\":1}",
                           "{\"command\":\"profile\",}",
                           "{\"comm\\u0061nd\":\"keyframe\"}",
                           "{command:\"keyframe\"}",
                           "{\"command\" \"keyframe\"}"}) {
    EXPECT_FALSE(ParseViewerCommand(text)) << text;
  }
  EXPECT_FALSE(ParseViewerCommand("{\"command\":\"keyframe\"}" + std::string(5000, ' ')));
}

TEST(ParseViewerCommand, NoPrefixOfACommandIsOne) {
  const std::string text = "{\"command\":\"profile\",\"fps\":30,\"max\":8000,\"min\":2000}";
  for (size_t length = 0; length < text.size(); ++length) {
    // A copy of its own, so that a read past its end is noticed.
    const std::string prefix = text.substr(0, length);
    EXPECT_FALSE(ParseViewerCommand(prefix)) << prefix;
  }
}

TEST(ParseViewerControl, ReadsBothKinds) {
  EXPECT_EQ(Control("\2body")->label, "desktop_input");
  EXPECT_EQ(Control("\2body")->bodyOffset, 1u);
  EXPECT_EQ(Control("\2")->bodyOffset, 1u);
  EXPECT_EQ(Control("\3\5inputbody")->label, "input");
  EXPECT_EQ(Control("\3\5inputbody")->bodyOffset, 7u);
  EXPECT_EQ(Control(std::string("\3\0", 2))->label, "");
}

TEST(ParseViewerControl, RefusesWhatIsNeither) {
  EXPECT_FALSE(Control(""));
  EXPECT_FALSE(Control("\1x"));
  EXPECT_FALSE(Control("\4x"));
  EXPECT_FALSE(Control("\3"));
  EXPECT_FALSE(Control("\3\6input"));
  EXPECT_FALSE(Control(std::string("\3\2a\0body", 8)));
}

TEST(ParseInt32, TakesWholeSigned32BitNumbersOnly) {
  EXPECT_EQ(ParseInt32("-2147483648"), INT32_MIN);
  EXPECT_EQ(ParseInt32("2147483647"), INT32_MAX);
  for (const char* text : {"", "-", "+1", " 1", "1 ", "0x1", "2147483648", "1.0"}) {
    EXPECT_FALSE(ParseInt32(text)) << text;
  }
}

}  // namespace
}  // namespace talu::loopback
