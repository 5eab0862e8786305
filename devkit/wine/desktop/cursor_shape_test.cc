#include "devkit/wine/desktop/cursor_shape.h"

#include <gtest/gtest.h>

namespace talu {
namespace {

constexpr uint32_t kBlack = 0xFF000000;
constexpr uint32_t kWhite = 0xFFFFFFFF;

CursorImage Image(int32_t width, int32_t height, std::vector<uint32_t> pixels) {
  return {width, height, 1, 2, std::move(pixels)};
}

TEST(CursorShapes, ColourKeepsTheAlphaAndUndoesThePremultiplication) {
  const CursorShape shape =
      ConvertCursor(Image(2, 1, {0x80402010, 0xFF112233}), CursorKind::kColor);
  EXPECT_EQ(shape.kind, CursorKind::kColor);
  EXPECT_EQ(shape.width, 2u);
  EXPECT_EQ(shape.height, 1u);
  EXPECT_EQ(shape.pitch, 8u);
  EXPECT_EQ(shape.hotX, 1);
  EXPECT_EQ(shape.hotY, 2);
  EXPECT_EQ(shape.bytes, (std::vector<uint8_t>{0x20, 0x40, 0x80, 0x80, 0x33, 0x22, 0x11, 0xFF}));
}

TEST(CursorShapes, ChannelsAboveTheAlphaStayWithinAByte) {
  const CursorShape shape = ConvertCursor(Image(1, 1, {0x01FFFFFF}), CursorKind::kColor);
  EXPECT_EQ(shape.bytes, (std::vector<uint8_t>{255, 255, 255, 1}));
}

TEST(CursorShapes, MaskedReplacesOpaquePixelsAndLeavesTheScreenUnderTheOthers) {
  const CursorShape shape =
      ConvertCursor(Image(2, 1, {0xFF112233, 0x10101010}), CursorKind::kMaskedColor);
  EXPECT_EQ(shape.kind, CursorKind::kMaskedColor);
  EXPECT_EQ(shape.bytes, (std::vector<uint8_t>{0x33, 0x22, 0x11, 0, 0, 0, 0, 255}));
}

TEST(CursorShapes, MonochromeHasTheAndMaskAboveTheXorMask) {
  const CursorShape shape =
      ConvertCursor(Image(3, 1, {kBlack, kWhite, 0}), CursorKind::kMonochrome);
  EXPECT_EQ(shape.kind, CursorKind::kMonochrome);
  EXPECT_EQ(shape.width, 3u);
  EXPECT_EQ(shape.height, 2u);
  EXPECT_EQ(shape.pitch, 2u);
  EXPECT_EQ(shape.bytes, (std::vector<uint8_t>{0b00100000, 0, 0b01000000, 0}));
}

TEST(CursorShapes, NarrowMonochromePointersInvertTheScreenWhereTheyAreDark) {
  const CursorShape shape =
      ConvertCursor(Image(1, 3, {kBlack, kWhite, kBlack}), CursorKind::kMonochrome);
  EXPECT_EQ(shape.height, 6u);
  EXPECT_EQ(shape.bytes, (std::vector<uint8_t>{0x80, 0, 0, 0, 0x80, 0, 0x80, 0, 0x80, 0, 0x80, 0}));
}

TEST(CursorShapes, MonochromeRowsAreWholeWords) {
  const CursorImage image = Image(17, 1, std::vector<uint32_t>(17, kWhite));
  const CursorShape shape = ConvertCursor(image, CursorKind::kMonochrome);
  EXPECT_EQ(shape.pitch, 4u);
  EXPECT_EQ(shape.bytes, (std::vector<uint8_t>{0, 0, 0, 0, 0xFF, 0xFF, 0x80, 0}));
}

TEST(CursorShapes, BlackAndWhitePointersBecomeMonochromeByThemselvesOthersColour) {
  EXPECT_EQ(ConvertCursor(Image(2, 1, {kBlack, 0}), CursorKind::kAutomatic).kind,
            CursorKind::kMonochrome);
  EXPECT_EQ(ConvertCursor(Image(2, 1, {kBlack, 0xFF0000FF}), CursorKind::kAutomatic).kind,
            CursorKind::kColor);
  EXPECT_EQ(ConvertCursor(Image(2, 1, {kBlack, 0x40000000}), CursorKind::kAutomatic).kind,
            CursorKind::kColor);
}

TEST(CursorShapes, APictureWithoutAVisiblePixelIsHidden) {
  EXPECT_TRUE(IsHidden(Image(2, 1, {0, 0})));
  EXPECT_TRUE(IsHidden(CursorImage{}));
  EXPECT_FALSE(IsHidden(Image(2, 1, {0, 0x01000000})));
}

TEST(CursorShapes, UnknownNamesOfKindsAreAutomatic) {
  EXPECT_EQ(ParseCursorKind("color"), CursorKind::kColor);
  EXPECT_EQ(ParseCursorKind("monochrome"), CursorKind::kMonochrome);
  EXPECT_EQ(ParseCursorKind("masked"), CursorKind::kMaskedColor);
  EXPECT_EQ(ParseCursorKind(""), CursorKind::kAutomatic);
  EXPECT_EQ(ParseCursorKind("colour"), CursorKind::kAutomatic);
}

}  // namespace
}  // namespace talu
