#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "devkit/wine/codec/codec_abi.h"

namespace talu {
namespace {

constexpr int kUnitBytes = 2'000'000;
constexpr EncoderShape kShape = {320, 240, 30, 1, 1'000'000, 60, kUnitBytes};

struct Close {
  void operator()(void* encoder) const { TaluCloseEncoder(encoder); }
};
using Encoder = std::unique_ptr<void, Close>;

std::vector<uint8_t> GreyPicture() { return std::vector<uint8_t>(320 * 240 * 3 / 2, 128); }

std::vector<uint8_t> EncodeOne(void* encoder, const std::vector<uint8_t>& picture, int index) {
  CodedPicture coded = {};
  EXPECT_EQ(TaluEncodePicture(encoder, picture.data(), 320, int64_t{index} * 33, 0, &coded), 0);
  return std::vector<uint8_t>(coded.data, coded.data + coded.size);
}

// Reads a parameter set's bits, emulation prevention bytes left out.
class BitReader {
 public:
  explicit BitReader(const std::vector<uint8_t>& unit) {
    for (size_t i = 0; i < unit.size(); ++i) {
      if (i >= 2 && unit[i] == 3 && unit[i - 1] == 0 && unit[i - 2] == 0) continue;
      bytes.push_back(unit[i]);
    }
  }
  uint32_t Bits(int count) {
    uint32_t value = 0;
    for (; count > 0; --count, ++at) {
      const uint8_t byte = at / 8 < bytes.size() ? bytes[at / 8] : 0;
      value = value << 1 | (byte >> (7 - at % 8) & 1);
    }
    return value;
  }
  bool Flag() { return Bits(1) != 0; }
  uint32_t Golomb() {
    int zeros = 0;
    while (zeros < 31 && !Flag()) ++zeros;
    return (1u << zeros) - 1 + Bits(zeros);
  }

 private:
  std::vector<uint8_t> bytes;
  size_t at = 0;
};

struct Signalled {
  uint32_t profile = 0;
  bool described = false;
  bool fullRange = false;
  uint32_t primaries = 0;
  uint32_t transfer = 0;
  uint32_t matrix = 0;
};

// The unit begins with the sequence parameter set, behind a four-byte start code.
Signalled ReadColours(const std::vector<uint8_t>& unit) {
  Signalled found;
  BitReader bits(std::vector<uint8_t>(unit.begin() + 5, unit.end()));
  found.profile = bits.Bits(8);
  bits.Bits(16);  // constraints, level
  bits.Golomb();  // identifier
  bits.Golomb();  // frame number's length
  EXPECT_EQ(bits.Golomb(), 0u) << "kind of picture order";
  bits.Golomb();  // picture order's length
  bits.Golomb();  // reference pictures
  bits.Flag();    // gaps
  bits.Golomb();  // width
  bits.Golomb();  // height
  EXPECT_TRUE(bits.Flag()) << "progressive";
  bits.Flag();  // direct prediction
  if (bits.Flag()) {
    for (int side = 0; side < 4; ++side) bits.Golomb();
  }
  if (!bits.Flag()) return found;
  EXPECT_FALSE(bits.Flag()) << "aspect ratio";
  EXPECT_FALSE(bits.Flag()) << "overscan";
  if (!bits.Flag()) return found;
  bits.Bits(3);  // kind of video
  found.fullRange = bits.Flag();
  found.described = bits.Flag();
  found.primaries = bits.Bits(8);
  found.transfer = bits.Bits(8);
  found.matrix = bits.Bits(8);
  return found;
}

TEST(OpenH264Encoder, SignalsHowTheColoursWereMade) {
  const Encoder encoder(TaluOpenEncoder(&kShape));
  ASSERT_TRUE(encoder);
  const Signalled signalled = ReadColours(EncodeOne(encoder.get(), GreyPicture(), 0));
  EXPECT_EQ(signalled.profile, 77u);
  EXPECT_TRUE(signalled.described);
  EXPECT_FALSE(signalled.fullRange);
  EXPECT_EQ(signalled.primaries, 1u);
  EXPECT_EQ(signalled.transfer, 13u);
  EXPECT_EQ(signalled.matrix, 6u);
}

TEST(OpenH264Encoder, ReadsNothingBeyondThePicture) {
  for (const EncoderShape& shape : {EncoderShape{32, 32, 30, 1, 100'000, 60, kUnitBytes},
                                    EncoderShape{330, 250, 30, 1, 500'000, 60, kUnitBytes},
                                    EncoderShape{1366, 768, 30, 1, 4'000'000, 60, kUnitBytes}}) {
    const Encoder encoder(TaluOpenEncoder(&shape));
    ASSERT_TRUE(encoder);
    // Exactly as large as the picture, so that the sanitizer sees a step past its end.
    const std::vector<uint8_t> picture(static_cast<size_t>(shape.width) * shape.height * 3 / 2, 90);
    for (int i = 0; i < 3; ++i) {
      CodedPicture coded = {};
      ASSERT_EQ(TaluEncodePicture(encoder.get(), picture.data(), shape.width, int64_t{i} * 33,
                                  i == 2, &coded),
                0);
      EXPECT_GT(coded.size, 0u);
      EXPECT_EQ(coded.keyFrame, i != 1);
    }
  }
}

TEST(OpenH264Encoder, RefusesShapesThatAreNone) {
  for (const EncoderShape& shape : {EncoderShape{0, 240, 30, 1, 1'000'000, 60, kUnitBytes},
                                    EncoderShape{321, 240, 30, 1, 1'000'000, 60, kUnitBytes},
                                    EncoderShape{320, 241, 30, 1, 1'000'000, 60, kUnitBytes},
                                    EncoderShape{320, 240, 0, 1, 1'000'000, 60, kUnitBytes},
                                    EncoderShape{320, 240, 30, 0, 1'000'000, 60, kUnitBytes},
                                    EncoderShape{320, 240, 30, 1, 0, 60, kUnitBytes},
                                    EncoderShape{320, 240, 30, 1, 1'000'000, -1, kUnitBytes},
                                    EncoderShape{320, 240, 30, 1, 1'000'000, 60, 0}}) {
    EXPECT_EQ(TaluOpenEncoder(&shape), nullptr);
  }
}

TEST(OpenH264Encoder, TakesEveryBitRateThatTheHostMaySet) {
  const Encoder encoder(TaluOpenEncoder(&kShape));
  ASSERT_TRUE(encoder);
  int index = 0;
  for (int bits : {1'000, 50'000, 2'000'000, 20'000'000, 240'000'000, 1'000'000}) {
    EXPECT_EQ(TaluSetEncoderBitRate(encoder.get(), bits), 0) << bits;
    EXPECT_FALSE(EncodeOne(encoder.get(), GreyPicture(), index++).empty());
  }
}

TEST(OpenH264Encoder, NoiseTooFineForTheBuffersIsCodedMoreCoarsely) {
  for (int largest : {kUnitBytes, 320 * 240 / 4}) {
    EncoderShape shape = kShape;
    shape.bitsPerSecond = 240'000'000;
    shape.largestUnitBytes = largest;
    const Encoder encoder(TaluOpenEncoder(&shape));
    ASSERT_TRUE(encoder);
    uint32_t state = 1;
    for (int i = 0; i < 5; ++i) {
      std::vector<uint8_t> picture = GreyPicture();
      for (uint8_t& byte : picture) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<uint8_t>(state >> 24);
      }
      CodedPicture coded = {};
      ASSERT_EQ(
          TaluEncodePicture(encoder.get(), picture.data(), 320, int64_t{i} * 33, i == 3, &coded),
          0);
      EXPECT_GT(coded.size, 0u);
      EXPECT_LE(coded.size, static_cast<uint32_t>(largest));
      if (i == 0 || i == 3) {
        EXPECT_TRUE(coded.keyFrame);
      }
    }
  }
}

TEST(OpenH264Encoder, TimesThatStandStillOrGoBackLosePicturesOfNone) {
  const Encoder encoder(TaluOpenEncoder(&kShape));
  ASSERT_TRUE(encoder);
  for (int index : {0, 0, 5, 3, -10, 100000, 1}) {
    EXPECT_FALSE(EncodeOne(encoder.get(), GreyPicture(), index).empty()) << index;
  }
}

}  // namespace
}  // namespace talu
