#include "input/text_input.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/fakes/fake_injection.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class TypeTextTest : public testing::Test {
 protected:
  TypeTextTest() { FakeInjection::Reset(); }

  LogCapture log;
};

TEST_F(TypeTextTest, PressesAndReleasesEachUnitInOneCall) {
  TypeText("aé");
  EXPECT_THAT(FakeInjection::Events(), ElementsAre("unit 97 flags 0x4", "unit 97 flags 0x6",
                                                   "unit 233 flags 0x4", "unit 233 flags 0x6"));
  EXPECT_THAT(FakeInjection::CallSizes(), ElementsAre(4u));
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(TypeTextTest, TypesCrLfAsOneEnter) {
  TypeText("a\r\nb");
  EXPECT_THAT(FakeInjection::Events(),
              ElementsAre("unit 97 flags 0x4", "unit 97 flags 0x6", "key 13 flags 0x0",
                          "key 13 flags 0x2", "unit 98 flags 0x4", "unit 98 flags 0x6"));
  EXPECT_THAT(FakeInjection::CallSizes(), ElementsAre(6u));
}

TEST_F(TypeTextTest, TypesALoneLfAsEnter) {
  TypeText("\n");
  EXPECT_THAT(FakeInjection::Events(), ElementsAre("key 13 flags 0x0", "key 13 flags 0x2"));
}

TEST_F(TypeTextTest, MakesNoCallWithoutAnythingToType) {
  TypeText("");
  TypeText("\r");
  TypeText("\r\r\r");
  EXPECT_THAT(FakeInjection::CallSizes(), IsEmpty());
}

TEST_F(TypeTextTest, TypesAnEmojiAsItsTwoSurrogates) {
  TypeText("😀");
  EXPECT_THAT(FakeInjection::Events(), ElementsAre("unit 55357 flags 0x4", "unit 55357 flags 0x6",
                                                   "unit 56832 flags 0x4", "unit 56832 flags 0x6"));
}

TEST_F(TypeTextTest, TypesTabAndOtherControlsAsUnits) {
  TypeText("\t\x08");
  EXPECT_THAT(FakeInjection::Events(), ElementsAre("unit 9 flags 0x4", "unit 9 flags 0x6",
                                                   "unit 8 flags 0x4", "unit 8 flags 0x6"));
}

TEST_F(TypeTextTest, TypesANulAsAUnit) {
  TypeText("\0"s);
  EXPECT_EQ(FakeInjection::CallSizes(), std::vector<size_t>{2});
}

TEST_F(TypeTextTest, TypesBrokenUtf8AsReplacementCharacters) {
  TypeText("\xFF");
  EXPECT_THAT(FakeInjection::Events(), ElementsAre("unit 65533 flags 0x4", "unit 65533 flags 0x6"));
}

TEST_F(TypeTextTest, IsSilentAboutARefusal) {
  FakeInjection::Refuse(5);
  TypeText("ab");
  EXPECT_THAT(FakeInjection::CallSizes(), ElementsAre(4u));
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(TypeTextTest, TypesAMegabyteInOneCall) {
  TypeText(std::string(1 << 20, 'a'));
  EXPECT_THAT(FakeInjection::CallSizes(), ElementsAre(2u << 20));
}

}  // namespace
}  // namespace talu
