#include "control/cursor_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/fakes/log_capture.h"
#include "tests/fakes/message_recorder.h"

namespace talu {
namespace {

using namespace std::string_literals;
using testing::IsEmpty;

CursorUpdate CursorOf(int32_t width, int32_t height) {
  return {true, width, height, 1, 2, std::vector<uint8_t>(static_cast<size_t>(width * height * 4))};
}

TEST(BuildCursorMessage, HasEveryFieldAtItsOffset) {
  const CursorUpdate cursor{true, 0x01020304, 2, -1, 0x7FFFFFFF, {10, 20, 30, 40, 0xFF}};
  EXPECT_EQ(
      BuildCursorMessage(cursor),
      "\xC0\x01\x04\x03\x02\x01\x02\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F\x0A\x14\x1E\x28\xFF"s);
}

TEST(BuildCursorMessage, OfAHiddenPointerSaysSo) {
  EXPECT_EQ(BuildCursorMessage({}), "\xC0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s);
  CursorUpdate hidden = CursorOf(32, 32);
  hidden.visible = false;
  const std::string message = BuildCursorMessage(hidden);
  EXPECT_EQ(message[1], 0);
  EXPECT_EQ(message.size(), 4114u);
}

TEST(SendCursorShape, SendsTheMessageSilently) {
  LogCapture log;
  MessageRecorder recorder;
  const CursorUpdate cursor = CursorOf(32, 32);
  SendCursorShape(recorder.Session(), cursor);
  ASSERT_EQ(recorder.Messages().size(), 1u);
  EXPECT_EQ(recorder.Messages()[0], BuildCursorMessage(cursor));
  EXPECT_EQ(recorder.Messages()[0].size(), 4114u);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(SendCursorShape, SendsShapesUpToTheLimitOnly) {
  LogCapture log;
  MessageRecorder recorder;
  SendCursorShape(recorder.Session(), CursorOf(63, 64));
  EXPECT_EQ(recorder.Messages().size(), 1u);
  SendCursorShape(recorder.Session(), CursorOf(64, 64));
  EXPECT_EQ(recorder.Messages().size(), 1u);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(SendCursorShape, CountsTheHeaderInTheLimit) {
  MessageRecorder recorder;
  CursorUpdate cursor;
  cursor.image.resize(16384 - 18);
  SendCursorShape(recorder.Session(), cursor);
  EXPECT_EQ(recorder.Messages().size(), 1u);
  cursor.image.push_back(0);
  SendCursorShape(recorder.Session(), cursor);
  EXPECT_EQ(recorder.Messages().size(), 1u);
}

TEST(SendCursorShape, DoesNothingWithoutASession) {
  MessageRecorder recorder;
  recorder.Close();
  SendCursorShape(recorder.Session(), CursorOf(1, 1));
  EXPECT_THAT(recorder.Messages(), IsEmpty());
}

}  // namespace
}  // namespace talu
