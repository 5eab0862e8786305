#include "devkit/controller/stream_client.h"

#include <gtest/gtest.h>

namespace talu::controller {
namespace {

TEST(ParseStreamAddress, ReadsTheViewersAddress) {
  const auto address = ParseStreamAddress("http://127.0.0.1:8123/?token=ab-12\r\n");
  ASSERT_TRUE(address);
  EXPECT_EQ(address->port, 8123);
  EXPECT_EQ(address->token, "ab-12");
}

TEST(ParseStreamAddress, RefusesAnythingElse) {
  for (const char* text :
       {"", "http://127.0.0.1:8123/", "http://127.0.0.1:0/?token=a",
        "http://127.0.0.1:70000/?token=a", "http://example.com:80/?token=a",
        "http://127.0.0.1:80/?token=", "https://127.0.0.1:80/?token=a",
        "http://127.0.0.1:80/?token=a&fps=3", "http://127.0.0.1:80/?token=a b"}) {
    EXPECT_FALSE(ParseStreamAddress(text)) << text;
  }
}

TEST(MakeHandshake, PutsTheWishesIntoTheAddress) {
  EXPECT_EQ(MakeHandshake({81, "t"}, {}).target, "/stream?token=t");
  EXPECT_EQ(MakeHandshake({81, "t"}, {30, 8000, 100, true}).target,
            "/stream?token=t&fps=30&max=8000&min=100&control=1");
  EXPECT_EQ(MakeHandshake({81, "t"}, {}).host, "127.0.0.1:81");
}

TEST(StreamClient, NobodyThereIsAComplaint) {
  StreamClient client;
  std::string complaint;
  // Port 1 is nobody's on 127.0.0.1.
  EXPECT_FALSE(client.Connect(MakeHandshake({1, "t"}, {}), 60'000, &complaint));
  EXPECT_NE(complaint, "");
  EXPECT_EQ(client.HttpStatus(), 0u);
  ReceivedMessage message;
  EXPECT_EQ(client.Receive(&message, 0), ReceiveResult::kClosed);
  EXPECT_FALSE(client.SendText("x", 0));
}

}  // namespace
}  // namespace talu::controller
