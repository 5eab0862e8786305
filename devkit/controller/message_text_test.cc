#include "devkit/controller/message_text.h"

#include <gtest/gtest.h>

namespace talu::controller {
namespace {

std::string TextOf(const std::string& body) {
  return ControlText({reinterpret_cast<const uint8_t*>(body.data()), body.size()});
}

TEST(ControlText, ShowsJsonAsItCame) {
  EXPECT_EQ(TextOf("{\"type\":\"screens\",\"name\":\"屏幕\"}"),
            "{\"type\":\"screens\",\"name\":\"屏幕\"}");
}

TEST(ControlText, TellsACursorShapeInNumbers) {
  const std::string header("\xc0\1\x20\0\0\0\x10\0\0\0\3\0\0\0\xfe\xff\xff\xff", 18);
  EXPECT_EQ(TextOf(header + std::string(2048, 'x')), "cursor visible=1 32x16 hot=3,-2 bytes=2066");
}

TEST(ControlText, ShowsTheBeginningOfAnythingElse) {
  EXPECT_EQ(TextOf(""), "control message of 0 bytes:");
  EXPECT_EQ(TextOf("\xc0z"), "control message of 2 bytes: c0 7a");
  EXPECT_EQ(TextOf(std::string(100, '\1')),
            "control message of 100 bytes: 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01");
}

TEST(VideoText, TellsOfOnePicture) {
  EXPECT_EQ(VideoText({true, 7, 1200, 0}, 20480, 3.14),
            "video 7 key 20480 bytes time=1200ms age=3.1ms");
  EXPECT_EQ(VideoText({false, 8, 1233, 0}, 5, 0), "video 8 5 bytes time=1233ms age=0.0ms");
}

}  // namespace
}  // namespace talu::controller
