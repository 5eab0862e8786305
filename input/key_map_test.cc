#include "input/key_map.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/fakes/fake_injection.h"

namespace talu {
namespace {

constexpr uint32_t kKeyboardPageBits = 0x00070000;

// Every key of the table, written out one by one.
const std::map<uint32_t, uint16_t>& ExpectedHidKeys() {
  static const std::map<uint32_t, uint16_t> keys = {
      {4, 'A'},    {5, 'B'},    {6, 'C'},    {7, 'D'},    {8, 'E'},    {9, 'F'},    {10, 'G'},
      {11, 'H'},   {12, 'I'},   {13, 'J'},   {14, 'K'},   {15, 'L'},   {16, 'M'},   {17, 'N'},
      {18, 'O'},   {19, 'P'},   {20, 'Q'},   {21, 'R'},   {22, 'S'},   {23, 'T'},   {24, 'U'},
      {25, 'V'},   {26, 'W'},   {27, 'X'},   {28, 'Y'},   {29, 'Z'},   {30, '1'},   {31, '2'},
      {32, '3'},   {33, '4'},   {34, '5'},   {35, '6'},   {36, '7'},   {37, '8'},   {38, '9'},
      {39, '0'},   {40, 0x0D},  {41, 0x1B},  {42, 0x08},  {43, 0x09},  {44, 0x20},  {45, 0xBD},
      {46, 0xBB},  {47, 0xDB},  {48, 0xDD},  {49, 0xDC},  {51, 0xBA},  {52, 0xDE},  {53, 0xC0},
      {54, 0xBC},  {55, 0xBE},  {56, 0xBF},  {57, 0x14},  {58, 0x70},  {59, 0x71},  {60, 0x72},
      {61, 0x73},  {62, 0x74},  {63, 0x75},  {64, 0x76},  {65, 0x77},  {66, 0x78},  {67, 0x79},
      {68, 0x7A},  {69, 0x7B},  {70, 0x2C},  {71, 0x91},  {72, 0x13},  {73, 0x2D},  {74, 0x24},
      {75, 0x21},  {76, 0x2E},  {77, 0x23},  {78, 0x22},  {79, 0x27},  {80, 0x25},  {81, 0x28},
      {82, 0x26},  {83, 0x90},  {84, 0x6F},  {85, 0x6A},  {86, 0x6D},  {87, 0x6B},  {88, 0x0D},
      {89, 0x61},  {90, 0x62},  {91, 0x63},  {92, 0x64},  {93, 0x65},  {94, 0x66},  {95, 0x67},
      {96, 0x68},  {97, 0x69},  {98, 0x60},  {99, 0x6E},  {101, 0x5D}, {104, 0x7C}, {105, 0x7D},
      {106, 0x7E}, {107, 0x7F}, {108, 0x80}, {109, 0x81}, {110, 0x82}, {111, 0x83}, {112, 0x84},
      {113, 0x85}, {114, 0x86}, {115, 0x87}, {224, 0x11}, {225, 0x10}, {226, 0x12}, {227, 0x5B},
      {228, 0x11}, {229, 0x10}, {230, 0x12}, {231, 0x5C},
  };
  return keys;
}

TEST(VkFromHid, MapsEveryUsageOfTheKeyboardPage) {
  for (uint32_t usage = 0; usage <= 0xFFFF; ++usage) {
    const auto expected = ExpectedHidKeys().find(usage);
    ASSERT_EQ(VkFromHid(kKeyboardPageBits | usage),
              expected == ExpectedHidKeys().end() ? 0 : expected->second)
        << usage;
  }
}

TEST(VkFromHid, KnowsNoOtherPage) {
  for (const uint32_t page : {0u, 1u, 6u, 8u, 9u, 0x000Cu, 0x0107u, 0x0700u, 0x8007u, 0xFFFFu}) {
    EXPECT_EQ(VkFromHid(page << 16 | 4), 0) << page;
  }
  EXPECT_EQ(VkFromHid(0x000C00E9), 0);
}

class VkFromCodeTest : public testing::Test {
 protected:
  VkFromCodeTest() { FakeInjection::Reset(); }
};

TEST_F(VkFromCodeTest, KnowsEveryName) {
  const std::map<std::string, uint16_t> kNames = {
      {"Enter", 0x0D},     {"NumpadEnter", 0x0D}, {"Escape", 0x1B},      {"Backspace", 0x08},
      {"Tab", 0x09},       {"Space", 0x20},       {"ArrowUp", 0x26},     {"ArrowDown", 0x28},
      {"ArrowLeft", 0x25}, {"ArrowRight", 0x27},  {"Home", 0x24},        {"End", 0x23},
      {"PageUp", 0x21},    {"PageDown", 0x22},    {"Insert", 0x2D},      {"Delete", 0x2E},
      {"ShiftLeft", 0x10}, {"ShiftRight", 0x10},  {"ControlLeft", 0x11}, {"ControlRight", 0x11},
      {"AltLeft", 0x12},   {"AltRight", 0x12},    {"MetaLeft", 0x5B},    {"MetaRight", 0x5C},
      {"CapsLock", 0x14},
  };
  for (const auto& [name, key] : kNames) {
    EXPECT_EQ(VkFromCode(name, ""), key) << name;
    EXPECT_EQ(VkFromCode(name + "x", ""), 0) << name;
  }
}

TEST_F(VkFromCodeTest, TakesTheFourthCharacterOfAKeyNameInUpperCase) {
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    EXPECT_EQ(VkFromCode(std::string("Key") + letter, ""), letter);
    EXPECT_EQ(VkFromCode(std::string("Key") + static_cast<char>(letter - 'A' + 'a'), ""), letter);
  }
  EXPECT_EQ(VkFromCode("Key1", ""), '1');
  EXPECT_EQ(VkFromCode("Key-", ""), '-');
  EXPECT_EQ(VkFromCode("Key{", ""), '{');
  EXPECT_EQ(VkFromCode("Key\xE9", ""), 0xE9);
}

TEST_F(VkFromCodeTest, TakesTheSixthCharacterOfADigitName) {
  for (char digit = '0'; digit <= '9'; ++digit) {
    EXPECT_EQ(VkFromCode(std::string("Digit") + digit, ""), digit);
  }
  EXPECT_EQ(VkFromCode("Digitx", ""), 'x');
}

TEST_F(VkFromCodeTest, MapsTheKeypadsDigits) {
  for (char digit = '0'; digit <= '9'; ++digit) {
    EXPECT_EQ(VkFromCode(std::string("Numpad") + digit, ""), 0x60 + (digit - '0'));
  }
  EXPECT_EQ(VkFromCode("Numpad5", ""), 0x65);
}

TEST_F(VkFromCodeTest, MapsTheFunctionKeys) {
  for (int number = 1; number <= 24; ++number) {
    EXPECT_EQ(VkFromCode(std::string("F").append(std::to_string(number)), ""), 0x6F + number);
  }
  EXPECT_EQ(VkFromCode("F13", ""), 0x7C);
  EXPECT_EQ(VkFromCode("F1x", ""), 0x70) << "the number ends at the first other character";
  EXPECT_EQ(VkFromCode("F1 2", ""), 0x70);
  EXPECT_EQ(VkFromCode("F007", ""), 0x76);
}

TEST_F(VkFromCodeTest, FallsThroughForFunctionKeysThatDoNotExist) {
  FakeInjection::SetKeyScan('q', 'Q');
  for (const char* code : {"F0", "F25", "F100", "F65537", "F65560", "F4294967297",
                           "F99999999999999999999", "F", "Fx"}) {
    EXPECT_EQ(VkFromCode(code, "q"), 'Q') << code;
    EXPECT_EQ(VkFromCode(code, ""), 0) << code;
  }
}

TEST_F(VkFromCodeTest, ComparesCaseAndLengthExactly) {
  for (const char* code : {"keyA", "KEYA", "Key", "KeyAB", "digit1", "Digit", "Digit12", "numpad5",
                           "Numpad", "NumpadA", "Numpad55", "f1", "enter", "ENTER", "Enter ", ""}) {
    EXPECT_EQ(VkFromCode(code, ""), 0) << code;
  }
}

TEST_F(VkFromCodeTest, AsksTheLayoutForTheFirstByteOfTheCharacterAtLast) {
  FakeInjection::SetKeyScan('-', 0xBD);
  FakeInjection::SetKeyScan('A', 0x0141);
  FakeInjection::SetKeyScan('+', 0x6B);
  EXPECT_EQ(VkFromCode("Minus", "-"), 0xBD);
  EXPECT_EQ(VkFromCode("Unknown", "A"), 0x41) << "the shift state is dropped";
  EXPECT_EQ(VkFromCode("NumpadAdd", "+"), 0x6B);
  EXPECT_EQ(VkFromCode("", "-x"), 0xBD);
}

TEST_F(VkFromCodeTest, IsNoKeyWithoutACharacterOrOnTheLayout) {
  EXPECT_EQ(VkFromCode("Unknown", ""), 0);
  EXPECT_EQ(VkFromCode("Unknown", "?"), 0) << "0xFFFF means that no key types it";
}

TEST_F(VkFromCodeTest, PrefersTheNameToTheCharacter) {
  FakeInjection::SetKeyScan('q', 'Q');
  EXPECT_EQ(VkFromCode("KeyA", "q"), 'A');
  EXPECT_EQ(VkFromCode("Enter", "q"), 0x0D);
}

}  // namespace
}  // namespace talu
