#include "encoder/picture_staging.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "capture/nv12.h"

namespace talu {
namespace {

// A picture of one grey, in a buffer of exactly its size.
std::vector<uint8_t> Grey(int32_t width, int32_t height) {
  return std::vector<uint8_t>(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, 128);
}

TEST(StageNv12, ConvertsThePicture) {
  const std::vector<uint8_t> picture = Grey(4, 2);
  std::vector<uint8_t> expected(Nv12Capacity(4, 2));
  ConvertBgraToNv12(picture.data(), 4, 2, expected.data());
  std::vector<uint8_t> buffer;
  const std::span<const uint8_t> staged = StageNv12(picture.data(), 4, 2, buffer);
  EXPECT_TRUE(std::ranges::equal(staged, expected));
}

TEST(StageNv12, ConvertsABlackPictureToLuma16AndChroma128) {
  const std::vector<uint8_t> black(128, 0);
  std::vector<uint8_t> buffer;
  const std::span<const uint8_t> staged = StageNv12(black.data(), 8, 4, buffer);
  ASSERT_EQ(staged.size(), 48u);
  EXPECT_TRUE(std::ranges::all_of(staged.first(32), [](uint8_t luma) { return luma == 16; }));
  EXPECT_TRUE(std::ranges::all_of(staged.last(16), [](uint8_t chroma) { return chroma == 128; }));
}

TEST(StageNv12, KeepsOddSizesInsideItsBuffer) {
  for (int32_t width = 1; width < 10; ++width) {
    for (int32_t height = 1; height < 10; ++height) {
      const std::vector<uint8_t> picture = Grey(width, height);
      std::vector<uint8_t> buffer;
      EXPECT_EQ(StageNv12(picture.data(), width, height, buffer).size(), Nv12Size(width, height));
    }
  }
}

TEST(StageNv12, KeepsItsStorageFromPictureToPicture) {
  std::vector<uint8_t> buffer;
  const std::vector<uint8_t> picture = Grey(16, 16);
  StageNv12(picture.data(), 16, 16, buffer);
  const uint8_t* const storage = buffer.data();
  EXPECT_EQ(StageNv12(picture.data(), 4, 4, buffer).size(), 24u);
  StageNv12(picture.data(), 16, 16, buffer);
  EXPECT_EQ(buffer.data(), storage);
}

}  // namespace
}  // namespace talu
