// The host's own encoder, unmodified, on the real transforms.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devkit/wine/codec/codec_testing.h"
#include "encoder/encoder_flags.h"
#include "encoder/h264_encoder.h"
#include "tests/fakes/allocation_count.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr char kHardwareReady[] = "H264 encoder ready: HARDWARE ASYNC MFT, 320x240@60fps";
constexpr char kSoftwareReady[] = "H264 encoder ready: SOFTWARE SYNC MFT, 320x240@30fps";

class HostEncoderTest : public testing::Test {
 protected:
  void SetUp() override {
    hw_encoder_bad.store(false);
    force_software_encoder.store(false);
  }
  void TearDown() override {
    encoder.reset();
    EXPECT_TRUE(NothingHeld());
  }
  bool Init() {
    encoder = std::make_unique<H264Encoder>();
    return encoder->Init(kWidth, kHeight, 60, 1000);
  }
  // The units that the pictures brought.
  std::vector<Unit> Encode(int pictures) {
    std::vector<Unit> units;
    for (int i = 0; i < pictures; ++i, ++encoded) {
      const std::vector<uint8_t> bgra(kWidth * kHeight * 4, static_cast<uint8_t>(encoded * 5));
      encoder->Encode(bgra.data(), encoded * 33,
                      [&](const uint8_t* data, uint32_t size, bool key, int64_t timeMs) {
                        units.push_back({std::vector<uint8_t>(data, data + size), key, timeMs});
                      });
    }
    return units;
  }

  // What the host itself allocates for so many pictures; the system's and the transforms' libraries
  // have heaps of their own.
  int64_t AllocationsFor(int pictures) {
    const std::vector<uint8_t> bgra(kWidth * kHeight * 4);
    const EncodedFrameCallback ignore = [](const uint8_t*, uint32_t, bool, int64_t) {};
    const int64_t before = AllocationsOfThisThread();
    for (int i = 0; i < pictures; ++i, ++encoded) {
      encoder->Encode(bgra.data(), encoded * 33, ignore);
    }
    return AllocationsOfThisThread() - before;
  }

  LogCapture log;
  ControlFile hardware{L"TALU_HARDWARE_CODEC"};
  ControlFile software{L"TALU_SOFTWARE_CODEC"};
  std::unique_ptr<H264Encoder> encoder;
  int encoded = 0;
};

TEST_F(HostEncoderTest, WithoutHardwareTheSoftwareTransformGivesEachPictureAtOnce) {
  ASSERT_TRUE(Init());
  EXPECT_THAT(log.Lines(), Contains(HasSubstr(kSoftwareReady)));
  const std::vector<Unit> units = Encode(70);
  ASSERT_EQ(units.size(), 70u);
  for (int i = 0; i < 70; ++i) {
    EXPECT_EQ(units[static_cast<size_t>(i)].timeMs, i * 33);
    EXPECT_EQ(units[static_cast<size_t>(i)].keyFrame, i % 60 == 0);
  }
}

TEST_F(HostEncoderTest, HardwareGivesThePictures) {
  hardware.Write("good");
  ASSERT_TRUE(Init());
  EXPECT_THAT(log.Lines(), Contains(HasSubstr(kHardwareReady)));
  EXPECT_THAT(log.Lines(), Contains("[agent] SET_D3D_MANAGER -> 0x00000000"));
  // The last ones may still be under way.
  EXPECT_GE(Encode(100).size(), 90u);
  EXPECT_TRUE(encoder->IsHardware());
  EXPECT_FALSE(hw_encoder_bad.load());
}

TEST_F(HostEncoderTest, PromptHardwareGivesThePictures) {
  hardware.Write("prompt");
  ASSERT_TRUE(Init());
  EXPECT_GE(Encode(100).size(), 90u);
  EXPECT_TRUE(encoder->IsHardware());
}

TEST_F(HostEncoderTest, TheHostItselfAllocatesNothingForAPictureInSoftware) {
  ASSERT_TRUE(Init());
  Encode(3);
  EXPECT_EQ(AllocationsFor(20), 0);
}

TEST_F(HostEncoderTest, TheHostItselfAllocatesNothingForAPictureInHardware) {
  hardware.Write("good");
  ASSERT_TRUE(Init());
  Encode(3);
  const int64_t allocations = AllocationsFor(10);
  // A machine too busy to ask in time makes the host change to software, which allocates.
  if (!encoder->IsHardware()) GTEST_SKIP();
  EXPECT_EQ(allocations, 0);
}

TEST_F(HostEncoderTest, HardwareThatProvidesItsSamplesAndHasNoControlsWorksToo) {
  hardware.Write("provides-samples\nno-codec-api");
  ASSERT_TRUE(Init());
  EXPECT_GE(Encode(30).size(), 20u);
  EXPECT_TRUE(encoder->IsHardware());
}

TEST_F(HostEncoderTest, WhenActivationFailsTheNextOneIsTaken) {
  hardware.Write("activation-fails");
  ASSERT_TRUE(Init());
  EXPECT_TRUE(encoder->IsHardware());
  EXPECT_GE(Encode(30).size(), 20u);
}

TEST_F(HostEncoderTest, HardwareThatRefusesTheTypeIsLeftSilently) {
  hardware.Write("refuses-output-type");
  ASSERT_TRUE(Init());
  EXPECT_FALSE(encoder->IsHardware());
  EXPECT_THAT(log.Lines(), Contains(HasSubstr(kSoftwareReady)));
  EXPECT_FALSE(hw_encoder_bad.load());
}

TEST_F(HostEncoderTest, HardwareThatNeverAsksIsLeftAfterTheProbe) {
  hardware.Write("never-asks");
  ASSERT_TRUE(Init());
  EXPECT_THAT(log.Lines(), Contains(HasSubstr("600ms 未发首个 NeedInput")));
  EXPECT_TRUE(hw_encoder_bad.load());
  EXPECT_EQ(Encode(10).size(), 10u);
}

TEST_F(HostEncoderTest, HardwareThatStopsAskingIsReplacedWhileTheStreamRuns) {
  hardware.Write("good");
  ASSERT_TRUE(Init());
  Encode(10);
  EXPECT_TRUE(encoder->IsHardware());
  hardware.Write("stops-after 0");
  // A request made before the change may still be answered.
  Encode(4);
  EXPECT_FALSE(encoder->IsHardware());
  EXPECT_THAT(log.Lines(), Contains(HasSubstr("已回退到软件编码器")));
  const std::vector<Unit> units = Encode(5);
  ASSERT_EQ(units.size(), 5u);
}

TEST_F(HostEncoderTest, HardwareThatRefusesWhatItAskedForIsReplaced) {
  hardware.Write("refuses-input");
  ASSERT_TRUE(Init());
  Encode(2);
  EXPECT_FALSE(encoder->IsHardware());
  EXPECT_THAT(log.Lines(), Contains(HasSubstr("ProcessInput(async) 失败 0x80004005")));
  EXPECT_EQ(Encode(5).size(), 5u);
}

TEST_F(HostEncoderTest, HardwareThatAsksTooLateForTheProbeIsLeft) {
  hardware.Write("asks-late 5000");
  ASSERT_TRUE(Init());
  EXPECT_FALSE(encoder->IsHardware());
}

TEST_F(HostEncoderTest, SoftwareThatRefusesInputIsLoggedAndRecovers) {
  ASSERT_TRUE(Init());
  EXPECT_EQ(Encode(3).size(), 3u);
  software.Write("refuses-input");
  EXPECT_EQ(Encode(2).size(), 0u);
  EXPECT_THAT(log.Lines(), Contains("[agent] ProcessInput failed hr=0x80004005"));
  software.Write("good");
  EXPECT_EQ(Encode(3).size(), 3u);
}

TEST_F(HostEncoderTest, NoTransformAtAllFails) {
  software.Write("init-fails");
  EXPECT_FALSE(Init());
  EXPECT_THAT(log.Lines(), Not(Contains(HasSubstr("ready"))));
}

TEST_F(HostEncoderTest, BitRateAndForcedKeyFramesReachTheTransform) {
  ASSERT_TRUE(Init());
  Encode(3);
  encoder->SetBitrate(700);
  EXPECT_THAT(log.Lines(), Contains("[agent] encoder SetBitrate 700 kbps -> 0x00000000"));
  encoder->ForceKeyFrame();
  const std::vector<Unit> units = Encode(2);
  ASSERT_EQ(units.size(), 2u);
  EXPECT_TRUE(units[0].keyFrame);
  EXPECT_FALSE(units[1].keyFrame);
}

}  // namespace
}  // namespace talu
