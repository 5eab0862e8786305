#include "capture/cursor_image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace talu {
namespace {

using testing::ElementsAre;

// What an earlier shape left behind.
CursorUpdate UsedCursor() {
  CursorUpdate cursor;
  cursor.visible = true;
  cursor.width = 9;
  cursor.height = 8;
  cursor.hotSpotX = 7;
  cursor.hotSpotY = 6;
  cursor.image = {1, 2, 3};
  return cursor;
}

// Converts from a heap block of exactly the bytes' size, so that AddressSanitizer sees every read
// beyond it.
CursorUpdate Convert(const CursorShape& shape, const std::vector<uint8_t>& bytes) {
  const auto exact = std::make_unique<uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), exact.get());
  CursorUpdate cursor = UsedCursor();
  ConvertCursorShape(shape, {exact.get(), bytes.size()}, cursor);
  return cursor;
}

void ExpectEmpty(const CursorUpdate& cursor) {
  EXPECT_EQ(cursor.width, 0);
  EXPECT_EQ(cursor.height, 0);
  EXPECT_TRUE(cursor.image.empty());
  EXPECT_EQ(cursor.hotSpotX, 7);
  EXPECT_EQ(cursor.hotSpotY, 6);
  EXPECT_TRUE(cursor.visible);
}

TEST(ConvertCursorShape, ColourKeepsAlphaAndDropsTheRowsPadding) {
  const CursorShape shape{kCursorColor, 2, 2, 12, 1, -1};
  const CursorUpdate cursor =
      Convert(shape, {1, 2, 3, 4, 5, 6, 7, 8, 99, 99, 99, 99, 9, 10, 11, 0, 13, 14, 15, 255});
  EXPECT_EQ(cursor.width, 2);
  EXPECT_EQ(cursor.height, 2);
  EXPECT_EQ(cursor.hotSpotX, 1);
  EXPECT_EQ(cursor.hotSpotY, -1);
  EXPECT_TRUE(cursor.visible);
  EXPECT_THAT(cursor.image, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0, 13, 14, 15, 255));
}

TEST(ConvertCursorShape, AMaskedColourCursorHasAlpha255Everywhere) {
  const CursorShape shape{kCursorMaskedColor, 2, 1, 8, 0, 0};
  EXPECT_THAT(Convert(shape, {1, 2, 3, 0, 5, 6, 7, 255}).image,
              ElementsAre(1, 2, 3, 255, 5, 6, 7, 255));
}

TEST(ConvertCursorShape, AMonochromeIBeamHasHalfTheShapesHeightWithInvertedPixelsBlack) {
  // Each row: a screen pixel, an inverted one, a screen pixel; as the I-beam is made.
  const CursorShape shape{kCursorMonochrome, 3, 4, 1, 1, 1};
  const CursorUpdate cursor = Convert(shape, {0xE0, 0xE0, 0x40, 0x40});
  EXPECT_EQ(cursor.width, 3);
  EXPECT_EQ(cursor.height, 2);
  EXPECT_THAT(cursor.image, ElementsAre(0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0,  //
                                        0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0));
}

TEST(ConvertCursorShape, MonochromeMasksGiveBlackWhiteTransparentAndInvertedAsBlack) {
  const CursorShape shape{kCursorMonochrome, 4, 2, 1, 0, 0};
  EXPECT_THAT(Convert(shape, {0x30, 0x50}).image,
              ElementsAre(0, 0, 0, 255, 255, 255, 255, 255, 0, 0, 0, 0, 0, 0, 0, 255));
}

TEST(ConvertCursorShape, MonochromeReadsTheMostSignificantBitFirstAcrossBytes) {
  const CursorShape shape{kCursorMonochrome, 10, 2, 3, 0, 0};
  const CursorUpdate cursor = Convert(shape, {0x7F, 0xBF, 0xFF, 0x80, 0x40, 0x00});
  ASSERT_EQ(cursor.image.size(), 40u);
  for (size_t x = 0; x < 10; ++x) {
    const bool white = x == 0 || x == 9;
    EXPECT_EQ(cursor.image[4 * x], white ? 255 : 0) << x;
    EXPECT_EQ(cursor.image[4 * x + 3], white ? 255 : 0) << x;
  }
}

TEST(ConvertCursorShape, AnOddMonochromeHeightIsHalvedDownward) {
  const CursorShape shape{kCursorMonochrome, 8, 3, 1, 0, 0};
  EXPECT_EQ(Convert(shape, {0, 0, 0}).height, 1);
}

TEST(ConvertCursorShape, AnUnknownKindIsTransparent) {
  const CursorShape shape{3, 1, 1, 4, 0, 0};
  EXPECT_THAT(Convert(shape, {9, 9, 9, 9}).image, ElementsAre(0, 0, 0, 0));
}

TEST(ConvertCursorShape, AShapeWithoutPixelsGivesTheEmptyImageAndKeepsTheHotSpot) {
  const std::vector<uint8_t> bytes(64);
  ExpectEmpty(Convert({kCursorColor, 0, 1, 4, 1, 1}, bytes));
  ExpectEmpty(Convert({kCursorColor, 1, 0, 4, 1, 1}, bytes));
  ExpectEmpty(Convert({kCursorColor, 1, 1, 0, 1, 1}, bytes));
  ExpectEmpty(Convert({kCursorMonochrome, 1, 1, 4, 1, 1}, bytes));
}

TEST(ConvertCursorShape, AShapeOneByteLargerThanItsBytesGivesTheEmptyImage) {
  ExpectEmpty(Convert({kCursorColor, 2, 2, 12, 1, 1}, std::vector<uint8_t>(19)));
  EXPECT_EQ(Convert({kCursorColor, 2, 2, 12, 1, 1}, std::vector<uint8_t>(20)).width, 2);
  ExpectEmpty(Convert({kCursorMonochrome, 9, 4, 4, 1, 1}, std::vector<uint8_t>(13)));
  EXPECT_EQ(Convert({kCursorMonochrome, 9, 4, 4, 1, 1}, std::vector<uint8_t>(14)).width, 9);
}

TEST(ConvertCursorShape, APitchShorterThanARowGivesTheEmptyImage) {
  ExpectEmpty(Convert({kCursorColor, 4, 1, 15, 1, 1}, std::vector<uint8_t>(64)));
  ExpectEmpty(Convert({kCursorMonochrome, 9, 2, 1, 1, 1}, std::vector<uint8_t>(64)));
}

TEST(ConvertCursorShape, SizesThatLieNeverReadOutsideTheBytes) {
  constexpr uint32_t kMost = std::numeric_limits<uint32_t>::max();
  constexpr uint32_t kSizes[] = {0, 1, 2, 7, 8, 31, 64, 65, 0x7FFFFFFF, 0x80000000u, kMost};
  for (const uint32_t type : {0u, 1u, 2u, 3u, 4u, kMost}) {
    for (const uint32_t width : kSizes) {
      for (const uint32_t height : kSizes) {
        for (const uint32_t pitch : kSizes) {
          for (const size_t size : {0, 1, 255, 256, 4096}) {
            const CursorUpdate cursor =
                Convert({type, width, height, pitch, 0, 0}, std::vector<uint8_t>(size, 0xA5));
            ASSERT_EQ(cursor.image.size(),
                      size_t{4} * static_cast<uint32_t>(cursor.width) * cursor.height);
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace talu
