#include "capture/nv12.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "capture/nv12_paths.h"

namespace talu {
namespace {

struct Yuv {
  int y;
  int cb;
  int cr;
  bool operator==(const Yuv&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Yuv& yuv) {
  return out << yuv.y << ' ' << yuv.cb << ' ' << yuv.cr;
}

// The conversion in the plainest words, apart from the code under test.
Yuv ExpectedColour(int red, int green, int blue) {
  const auto towardZero = [](int sum) { return sum < 0 ? -(-sum / 256) : sum / 256; };
  return {(66 * red + 129 * green + 25 * blue + 128) / 256 + 16,
          towardZero(112 * blue - 74 * green - 38 * red + 128) + 128,
          towardZero(112 * red - 94 * green - 18 * blue + 128) + 128};
}

// In the order in which the rows are converted, so that what is written twice has its last value.
void ExpectedPicture(const uint8_t* bgra, int width, int height, uint8_t* nv12) {
  uint8_t* chroma = nv12 + width * height;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const uint8_t* pixel = bgra + 4 * (y * width + x);
      const Yuv expected = ExpectedColour(pixel[2], pixel[1], pixel[0]);
      nv12[y * width + x] = static_cast<uint8_t>(expected.y);
      if (x % 2 == 0 && y % 2 == 0) {
        chroma[y / 2 * width + x] = static_cast<uint8_t>(expected.cb);
        chroma[y / 2 * width + x + 1] = static_cast<uint8_t>(expected.cr);
      }
    }
  }
}

class Nv12PathTest : public testing::TestWithParam<Nv12Path> {
 protected:
  Yuv ConvertColour(uint8_t red, uint8_t green, uint8_t blue) {
    // Wide enough for every way through a row.
    constexpr int32_t kWidth = 70;
    std::vector<uint8_t> picture;
    for (int pixel = 0; pixel < 2 * kWidth; ++pixel) {
      picture.insert(picture.end(), {blue, green, red, 255});
    }
    std::vector<uint8_t> nv12(Nv12Size(kWidth, 2));
    GetParam().convert(picture.data(), kWidth, 2, nv12.data());
    const Yuv first{nv12[0], nv12[2 * kWidth], nv12[2 * kWidth + 1]};
    for (int x = 0; x < kWidth; x += 2) {
      const Yuv other{nv12[kWidth + x], nv12[2 * kWidth + x], nv12[2 * kWidth + x + 1]};
      EXPECT_EQ(other, first) << "column " << x;
    }
    return first;
  }
};

INSTANTIATE_TEST_SUITE_P(EveryPath, Nv12PathTest, testing::ValuesIn(Nv12Paths()),
                         [](const auto& path) { return std::string(path.param.name); });

TEST_P(Nv12PathTest, WhiteIs235_128_128) {
  EXPECT_EQ(ConvertColour(255, 255, 255), (Yuv{235, 128, 128}));
}

TEST_P(Nv12PathTest, BlackIs16_128_128) { EXPECT_EQ(ConvertColour(0, 0, 0), (Yuv{16, 128, 128})); }

TEST_P(Nv12PathTest, PureColoursRoundChromaTowardZero) {
  EXPECT_EQ(ConvertColour(255, 0, 0), (Yuv{82, 91, 240}));
  EXPECT_EQ(ConvertColour(0, 0, 255), (Yuv{41, 240, 111}));
  EXPECT_EQ(ConvertColour(0, 255, 0), (Yuv{144, 55, 35}));
}

TEST_P(Nv12PathTest, ChromaComesFromTheTopLeftPixelOfABlockOnly) {
  const std::vector<uint8_t> picture = {0,   0,   255, 255, 255, 0,   0, 255,
                                        255, 255, 255, 255, 0,   255, 0, 255};
  std::vector<uint8_t> nv12(Nv12Size(2, 2));
  GetParam().convert(picture.data(), 2, 2, nv12.data());
  EXPECT_EQ(nv12, (std::vector<uint8_t>{82, 41, 235, 144, 91, 240}));
}

TEST_P(Nv12PathTest, SizesBelowOneLeaveTheBufferUntouched) {
  const std::array<uint8_t, 16> picture{};
  const std::array<uint8_t, 6> untouched{7, 7, 7, 7, 7, 7};
  std::array<uint8_t, 6> nv12 = untouched;
  GetParam().convert(picture.data(), 2, 0, nv12.data());
  GetParam().convert(picture.data(), 0, 2, nv12.data());
  GetParam().convert(picture.data(), 2, -1, nv12.data());
  GetParam().convert(picture.data(), -2, 2, nv12.data());
  EXPECT_EQ(nv12, untouched);
}

// Rows of 8192 colours each, in every position of a step: luma is seen for all of them, chroma for
// those in even columns, so each row is converted a second time one pixel later.
TEST_P(Nv12PathTest, AllColoursAreAsComputedPlainly) {
  constexpr int kColumns = 8192;
  constexpr int kColours = 1 << 24;
  std::vector<uint8_t> row(4 * (kColumns + 1));
  std::vector<uint8_t> expected(Nv12Capacity(kColumns, 1));
  std::vector<uint8_t> nv12(Nv12Capacity(kColumns, 1));
  for (int first = 0; first < kColours; first += kColumns) {
    for (int x = 0; x <= kColumns; ++x) {
      const int colour = (first + x) % kColours;
      row[4 * x] = static_cast<uint8_t>(colour);
      row[4 * x + 1] = static_cast<uint8_t>(colour >> 8);
      row[4 * x + 2] = static_cast<uint8_t>(colour >> 16);
      row[4 * x + 3] = static_cast<uint8_t>(colour * 37);
    }
    for (const int shift : {0, 1}) {
      ExpectedPicture(row.data() + 4 * shift, kColumns, 1, expected.data());
      GetParam().convert(row.data() + 4 * shift, kColumns, 1, nv12.data());
      ASSERT_TRUE(nv12 == expected) << "colours from " << first + shift;
    }
  }
}

// Heap blocks of exactly the sizes documented, so that AddressSanitizer sees every byte too many;
// and bytes around the output that must stay, for builds without it.
TEST_P(Nv12PathTest, EverySizeIsExactAndStaysWithinItsCapacity) {
  constexpr size_t kGuard = 64;
  constexpr uint8_t kGuardByte = 0xC7;
  std::mt19937 random(20240607);
  for (int width = 0; width <= 130; ++width) {
    for (int height = 0; height <= 5; ++height) {
      const size_t inputSize = size_t{4} * width * height;
      const auto picture = std::make_unique<uint8_t[]>(inputSize);
      std::generate_n(picture.get(), inputSize, [&] { return static_cast<uint8_t>(random()); });
      const size_t capacity = Nv12Capacity(width, height);
      std::vector<uint8_t> expected(capacity, 0);
      ExpectedPicture(picture.get(), width, height, expected.data());

      const auto exact = std::make_unique<uint8_t[]>(capacity);
      GetParam().convert(picture.get(), width, height, exact.get());
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), exact.get()))
          << width << " x " << height;

      std::vector<uint8_t> guarded(capacity + 2 * kGuard, kGuardByte);
      GetParam().convert(picture.get(), width, height, guarded.data() + kGuard);
      for (size_t i = 0; i < kGuard; ++i) {
        ASSERT_EQ(guarded[i], kGuardByte) << width << " x " << height;
        ASSERT_EQ(guarded[kGuard + capacity + i], kGuardByte) << width << " x " << height;
      }
    }
  }
}

TEST_P(Nv12PathTest, AnOddHeightStillHasAChromaRowForTheLastPictureRow) {
  const std::vector<uint8_t> picture(4 * 2 * 3, 255);
  std::vector<uint8_t> nv12(Nv12Capacity(2, 3), 0);
  GetParam().convert(picture.data(), 2, 3, nv12.data());
  ASSERT_EQ(nv12.size(), 10u);
  EXPECT_GT(nv12.size(), Nv12Size(2, 3));
  EXPECT_EQ(nv12[8], 128);
  EXPECT_EQ(nv12[9], 128);
}

TEST_P(Nv12PathTest, AnOddWidthPutsTheLastCrOnePastItsRow) {
  // Red, black, red: the last Cr of 240 is overwritten by the next row's first Cb, but for the last
  // row's.
  std::vector<uint8_t> picture(4 * 3 * 4, 0);
  for (int y = 0; y < 4; ++y) {
    picture[4 * 3 * y + 2] = 255;
    picture[4 * (3 * y + 2) + 2] = 255;
  }
  std::vector<uint8_t> nv12(Nv12Capacity(3, 4), 0);
  GetParam().convert(picture.data(), 3, 4, nv12.data());
  const std::vector<uint8_t> chroma(nv12.begin() + 12, nv12.end());
  EXPECT_EQ(chroma, (std::vector<uint8_t>{91, 240, 91, 91, 240, 91, 240}));
}

TEST_P(Nv12PathTest, UnalignedBuffersGiveTheSameBytes) {
  constexpr int kWidth = 96;
  constexpr int kHeight = 4;
  std::mt19937 random(7);
  std::vector<uint8_t> picture(4 * kWidth * kHeight + 64);
  std::generate(picture.begin(), picture.end(), [&] { return static_cast<uint8_t>(random()); });
  std::vector<uint8_t> expected(Nv12Size(kWidth, kHeight));
  std::vector<uint8_t> nv12(expected.size() + 64);
  for (int offset = 0; offset < 33; ++offset) {
    ExpectedPicture(picture.data() + offset, kWidth, kHeight, expected.data());
    GetParam().convert(picture.data() + offset, kWidth, kHeight, nv12.data() + offset);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), nv12.begin() + offset)) << offset;
  }
}

TEST(ConvertBgraToNv12, TakesTheFastestPathThisMachineHas) {
  std::mt19937 random(3);
  std::vector<uint8_t> picture(4 * 64 * 2);
  std::generate(picture.begin(), picture.end(), [&] { return static_cast<uint8_t>(random()); });
  std::vector<uint8_t> expected(Nv12Size(64, 2));
  std::vector<uint8_t> nv12(Nv12Size(64, 2));
  Nv12Paths().back().convert(picture.data(), 64, 2, expected.data());
  ConvertBgraToNv12(picture.data(), 64, 2, nv12.data());
  EXPECT_EQ(nv12, expected);
  EXPECT_EQ(Nv12Paths().size(), __builtin_cpu_supports("avx2") ? 2u : 1u);
  EXPECT_EQ(Nv12Paths().front().convert, &ConvertBgraToNv12Scalar);
}

static_assert(Nv12Size(1920, 1080) == 3110400);
static_assert(Nv12Capacity(1920, 1080) == 3110400);
static_assert(Nv12Size(3, 3) == 13);
static_assert(Nv12Capacity(3, 3) == 9 + 2 * 3 + 1);
static_assert(Nv12Capacity(0, 5) == 0 && Nv12Capacity(5, -1) == 0 && Nv12Size(-1, 4) == 0);

}  // namespace
}  // namespace talu
