#include "input/key_input.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_injection.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class KeyInputTest : public testing::Test {
 protected:
  KeyInputTest() {
    FakeInjection::Reset();
    keyLogCount.Refill(kLoggedKeyInjections);
  }

  LogCapture log;
};

TEST_F(KeyInputTest, PressesAndReleasesByVirtualKeyAlone) {
  SendKey(0x41, true);
  SendKey(0x41, false);
  SendKey(0x25, true);
  EXPECT_THAT(FakeInjection::Events(),
              ElementsAre("key 65 flags 0x0", "key 65 flags 0x2", "key 37 flags 0x0"))
      << "neither scan code nor extended flag, for arrows either";
  EXPECT_THAT(FakeInjection::CallSizes(), ElementsAre(1u, 1u, 1u));
}

TEST_F(KeyInputTest, DoesNothingForNoKey) {
  SendKey(0, true);
  SendKey(0, false);
  EXPECT_THAT(FakeInjection::CallSizes(), IsEmpty());
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(KeyInputTest, LogsWhatWasSent) {
  SendKey(0x41, true);
  SendKey(0x5C, false);
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] SendInput key vk=65 down=1 -> 1",
                                       "[agent] SendInput key vk=92 down=0 -> 1"));
}

TEST_F(KeyInputTest, LogsARefusalWithItsErrorAndDoesNotRetry) {
  FakeInjection::Refuse(87);
  SendKey(0x41, true);
  EXPECT_EQ(FakeInjection::CallSizes().size(), 1u);
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] SendInput key vk=65 down=1 -> 0",
                                       "[agent] SendInput lastError=87"));
}

TEST_F(KeyInputTest, SendsButDoesNotLogTheTwentyFirst) {
  for (int count = 0; count < 10; ++count) SendKey(0, true);
  for (int count = 0; count < 21; ++count) SendKey(0x41, true);
  EXPECT_EQ(FakeInjection::CallSizes().size(), 21u);
  EXPECT_EQ(log.Lines().size(), 20u) << "and no key at all costs no line";
}

}  // namespace
}  // namespace talu
