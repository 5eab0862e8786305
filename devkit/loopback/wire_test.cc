#include "devkit/loopback/wire.h"

#include <gtest/gtest.h>

namespace talu::loopback {
namespace {

std::string Text(const Payload& payload) { return {payload->begin(), payload->end()}; }

TEST(Wire, AVideoMessageIsLaidOutAsItsReadersExpect) {
  const Bytes unit = {9, 8};
  const Payload message =
      BuildVideoMessage({true, 0x04030201, 0x0807060504030201, 0x1817161514131211}, unit);
  EXPECT_EQ(Text(message), std::string("\1\1\0\0\1\2\3\4\1\2\3\4\5\6\7\x08"
                                       "\x11\x12\x13\x14\x15\x16\x17\x18\x09\x08",
                                       26));
  const auto header = ReadVideoHeader(*message);
  ASSERT_TRUE(header);
  EXPECT_TRUE(header->keyFrame);
  EXPECT_EQ(header->sequence, 0x04030201u);
  EXPECT_EQ(header->timestampMs, 0x0807060504030201);
  EXPECT_EQ(header->handedOverUs, 0x1817161514131211);
}

TEST(Wire, AShortOrOtherMessageIsNoVideo) {
  EXPECT_FALSE(ReadVideoHeader(Bytes(23, 1)));
  EXPECT_TRUE(ReadVideoHeader(Bytes(24, 1)));
  EXPECT_FALSE(ReadVideoHeader(Bytes(24, 2)));
  EXPECT_FALSE(ReadHostControlBody(Bytes(3, 2)));
  EXPECT_FALSE(ReadHostControlBody(Bytes(4, 1)));
  EXPECT_TRUE(ReadHostControlBody(Bytes(4, 2))->empty());
}

TEST(Wire, EventsAreJson) {
  EXPECT_EQ(Text(BuildHelloEvent("a\"b\\\n屏", 1, 2, false)),
            "{\"event\":\"hello\",\"instance\":\"a\\\"b\\\\\\u000a屏\",\"width\":1,\"height\":2,"
            "\"role\":\"control\"}");
  EXPECT_EQ(Text(BuildScreenEvent(3, 4)), "{\"event\":\"screen\",\"width\":3,\"height\":4}");
  EXPECT_EQ(Text(BuildReplacedEvent()), "{\"event\":\"replaced\"}");
  EXPECT_EQ(Text(BuildByeEvent()), "{\"event\":\"bye\"}");
}

TEST(Wire, ALabelHas255BytesAtMost) {
  EXPECT_TRUE(BuildViewerLabelledMessage(std::string(255, 'x'), "b"));
  EXPECT_FALSE(BuildViewerLabelledMessage(std::string(256, 'x'), "b"));
}

}  // namespace
}  // namespace talu::loopback
