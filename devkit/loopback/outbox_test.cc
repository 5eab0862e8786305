#include "devkit/loopback/outbox.h"

#include <gtest/gtest.h>

#include <memory>

namespace talu::loopback {
namespace {

class OutboxTest : public testing::Test {
 protected:
  OutboxTest() {
    limits.videoUnits = 3;
    limits.videoBytes = 100;
    limits.controlMessages = 2;
    limits.controlBytes = 50;
    limits.unitsBetweenRequests = 4;
  }

  void Make() {
    outbox = std::make_unique<Outbox>(
        limits, [this] { ++wakes; }, [this] { ++requests; });
  }

  static Payload Message(uint8_t name, size_t size = 1) {
    return std::make_shared<const Bytes>(size, name);
  }

  void Key(uint8_t name, size_t size = 1) { outbox->PushVideo(Message(name, size), true); }
  void Other(uint8_t name, size_t size = 1) { outbox->PushVideo(Message(name, size), false); }

  // The names of what can be taken.
  std::string TakeAll() {
    std::string names;
    while (const std::optional<OutgoingMessage> message = outbox->Take()) {
      names += static_cast<char>(message->payload->front());
    }
    return names;
  }

  OutboxLimits limits;
  int wakes = 0;
  int requests = 0;
  std::unique_ptr<Outbox> outbox;
};

TEST_F(OutboxTest, BeginsWithAKeyFrame) {
  Make();
  Other('a');
  Key('B');
  Other('c');
  EXPECT_EQ(TakeAll(), "Bc");
  EXPECT_EQ(outbox->DroppedUnits(), 0u);
}

TEST_F(OutboxTest, WakesTheWriterOnceForAllThatWaits) {
  Make();
  Key('A');
  Other('b');
  EXPECT_EQ(wakes, 1);
  TakeAll();
  Other('c');
  EXPECT_EQ(wakes, 2);
}

TEST_F(OutboxTest, ControlMessagesGoAheadOfVideo) {
  Make();
  Key('A');
  EXPECT_TRUE(outbox->PushControl(Message('1'), true));
  EXPECT_TRUE(outbox->Take()->text);
  EXPECT_EQ(TakeAll(), "A");
}

TEST_F(OutboxTest, AFullBoxDropsUpToTheNextKeyFrame) {
  Make();
  Key('A');
  Other('b');
  Other('c');
  Other('d');
  Other('e');
  EXPECT_EQ(outbox->DroppedUnits(), 5u);
  Key('F');
  Other('g');
  EXPECT_EQ(TakeAll(), "Fg");
}

TEST_F(OutboxTest, AsksForAKeyFrameOnlyWhenTheViewerHasCaughtUp) {
  Make();
  Key('A');
  const std::optional<OutgoingMessage> beingWritten = outbox->Take();
  for (const uint8_t name : {'b', 'c', 'd', 'e', 'f'}) Other(name);
  EXPECT_EQ(requests, 0);
  EXPECT_EQ(TakeAll(), "");
  EXPECT_EQ(requests, 1);
  EXPECT_EQ(TakeAll(), "");
  EXPECT_EQ(requests, 1);
}

TEST_F(OutboxTest, AsksAgainWhenNoKeyFrameComes) {
  Make();
  Key('A');
  for (const uint8_t name : {'b', 'c', 'd'}) Other(name);
  TakeAll();
  EXPECT_EQ(requests, 1);
  for (const uint8_t name : {'e', 'f', 'g'}) Other(name);
  EXPECT_EQ(requests, 1);
  Other('h');
  EXPECT_EQ(requests, 2);
  Key('I');
  EXPECT_EQ(TakeAll(), "I");
  EXPECT_EQ(requests, 2);
}

TEST_F(OutboxTest, AUnitAloneMayBeLargerThanTheLimit) {
  Make();
  Key('A', 1000);
  EXPECT_EQ(TakeAll(), "A");
  Other('x', 1000);
  EXPECT_EQ(TakeAll(), "x");
  Other('b', 90);
  Other('c', 11);
  EXPECT_EQ(TakeAll(), "");
  EXPECT_EQ(outbox->DroppedUnits(), 2u);
}

TEST_F(OutboxTest, AKeyFrameTakesThePlaceOfAFullBox) {
  Make();
  Key('A');
  Other('b');
  Other('c');
  Key('D');
  EXPECT_EQ(TakeAll(), "D");
  EXPECT_EQ(requests, 0);
}

TEST_F(OutboxTest, RefusesControlMessagesWhenFull) {
  Make();
  EXPECT_TRUE(outbox->PushControl(Message('1'), true));
  EXPECT_TRUE(outbox->PushControl(Message('2'), true));
  EXPECT_FALSE(outbox->PushControl(Message('3'), true));
  EXPECT_EQ(TakeAll(), "12");
  EXPECT_TRUE(outbox->PushControl(Message('4', 1000), true));
  EXPECT_FALSE(outbox->PushControl(Message('5', 49), true));
  EXPECT_EQ(TakeAll(), "4");
  EXPECT_TRUE(outbox->PushControl(Message('6', 24), true));
  EXPECT_TRUE(outbox->PushControl(Message('7', 26), true));
}

TEST_F(OutboxTest, StoppedVideoNeverComesAgain) {
  Make();
  Key('A');
  outbox->StopVideo();
  Key('B');
  EXPECT_TRUE(outbox->PushControl(Message('1'), true));
  EXPECT_EQ(TakeAll(), "1");
  EXPECT_EQ(requests, 0);
}

}  // namespace
}  // namespace talu::loopback
