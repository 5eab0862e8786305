#include "capture/pixel_rows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <numeric>

namespace talu {
namespace {

using testing::Each;

TEST(ResizePixels, GrowsByAtLeastHalfTheCapacity) {
  std::vector<uint8_t> buffer;
  ResizePixels(buffer, 1000);
  EXPECT_EQ(buffer.capacity(), 1000u);
  ResizePixels(buffer, 1001);
  EXPECT_EQ(buffer.size(), 1001u);
  EXPECT_EQ(buffer.capacity(), 1500u);
  ResizePixels(buffer, 10000);
  EXPECT_EQ(buffer.capacity(), 10000u);
}

TEST(ResizePixels, ASmallerSizeKeepsTheStorage) {
  std::vector<uint8_t> buffer;
  ResizePixels(buffer, 1000);
  const uint8_t* storage = buffer.data();
  ResizePixels(buffer, 10);
  EXPECT_EQ(buffer.size(), 10u);
  EXPECT_EQ(buffer.capacity(), 1000u);
  ResizePixels(buffer, 1000);
  EXPECT_EQ(buffer.data(), storage);
}

TEST(ResizePixels, NewBytesAreZeroAlsoWhereOldOnesWere) {
  std::vector<uint8_t> buffer(100, 7);
  ResizePixels(buffer, 50);
  ResizePixels(buffer, 200);
  EXPECT_THAT(std::vector<uint8_t>(buffer.begin(), buffer.begin() + 50), Each(7));
  EXPECT_THAT(std::vector<uint8_t>(buffer.begin() + 50, buffer.end()), Each(0));
}

// Exact heap blocks: AddressSanitizer sees a byte read or written too many.
void CopyAndCompare(size_t pitch, size_t rowBytes, size_t rows) {
  const size_t sourceBytes = rows == 0 ? 0 : pitch * (rows - 1) + rowBytes;
  const auto source = std::make_unique<uint8_t[]>(sourceBytes);
  std::iota(source.get(), source.get() + sourceBytes, uint8_t{1});
  const auto target = std::make_unique<uint8_t[]>(rowBytes * rows);
  CopyRows(source.get(), pitch, rowBytes, rows, target.get());
  for (size_t y = 0; y < rows; ++y) {
    for (size_t x = 0; x < rowBytes; ++x) {
      ASSERT_EQ(target[y * rowBytes + x], source[y * pitch + x]) << "row " << y << " byte " << x;
    }
  }
}

TEST(CopyRows, DropsThePaddingBehindEachRow) {
  for (const size_t padding : {0, 1, 4, 31, 256}) {
    for (const size_t rows : {0, 1, 2, 7}) {
      for (const size_t rowBytes : {0, 4, 52, 4096}) {
        CopyAndCompare(rowBytes + padding, rowBytes, rows);
      }
    }
  }
}

}  // namespace
}  // namespace talu
