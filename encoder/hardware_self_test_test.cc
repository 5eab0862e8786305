#include "encoder/hardware_self_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "base/clock.h"
#include "encoder/encoder_flags.h"
#include "encoder/gpu_identity.h"
#include "encoder/h264_encoder.h"
#include "encoder/verdict_file.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

// A machine for the self-test: its adapter, its verdict file and what its encoder does.
struct FakeMachine {
  std::string key = "GPU|0000000000000001";
  // The remembered verdict for key: "good", "bad" or none.
  std::string remembered;
  bool initWorks = true;
  bool hardware = true;
  // What one Encode does; returns the size of the unit it delivers, or -1 for none.
  std::function<int32_t(int picture)> encode = [](int) { return 100; };

  // In their order: "init 640x480@30 8000", "encode 33", "shutdown", "destroy", "save KEY good"...
  std::vector<std::string> calls;
  std::vector<uint8_t> picture;
  int encoded = 0;

  size_t Count(const std::string& call) const {
    return static_cast<size_t>(std::count(calls.begin(), calls.end(), call));
  }
};

FakeMachine* machine = nullptr;

}  // namespace

std::string GpuIdentityKey() { return machine->key; }

bool LoadEncoderVerdict(const std::string& key, bool& good) {
  if (key.empty() || machine->remembered.empty()) {
    return false;
  }
  good = machine->remembered == "good";
  return true;
}

void SaveEncoderVerdict(const std::string& key, bool good) {
  machine->calls.push_back("save " + key + (good ? " good" : " bad"));
}

struct EncoderState {};

H264Encoder::H264Encoder() : state(std::make_unique<EncoderState>()) {}

H264Encoder::~H264Encoder() { machine->calls.push_back("destroy"); }

bool H264Encoder::Init(int32_t w, int32_t h, int32_t rate, int32_t kbps) {
  machine->calls.push_back("init " + std::to_string(w) + "x" + std::to_string(h) + "@" +
                           std::to_string(rate) + " " + std::to_string(kbps));
  width = w;
  height = h;
  return machine->initWorks;
}

bool H264Encoder::IsHardware() const { return machine->hardware; }

bool H264Encoder::Encode(const uint8_t* bgra, int64_t timestampMs,
                         const EncodedFrameCallback& onOutput) {
  machine->calls.push_back("encode " + std::to_string(timestampMs));
  machine->picture.assign(bgra,
                          bgra + static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  const int32_t size = machine->encode(machine->encoded++);
  if (size >= 0) {
    const std::vector<uint8_t> unit(static_cast<size_t>(size) + 1);
    onOutput(unit.data(), static_cast<uint32_t>(size), true, timestampMs);
  }
  return true;
}

void H264Encoder::Shutdown() { machine->calls.push_back("shutdown"); }

namespace {

using Calls = std::vector<std::string>;

class HardwareSelfTest : public testing::Test {
 protected:
  void SetUp() override {
    machine = &fake;
    hw_encoder_bad = false;
    force_software_encoder = false;
    FakeClock::Reset();
  }
  void TearDown() override {
    hw_encoder_bad = false;
    force_software_encoder = false;
  }

  // Runs the test and returns what it logged.
  std::string Run(int32_t width = 640, int32_t height = 480) {
    LogCapture log;
    RunHardwareEncoderSelfTest(width, height);
    return log.Text();
  }

  FakeMachine fake;
};

TEST_F(HardwareSelfTest, TakesARememberedGoodVerdictWithoutATest) {
  fake.remembered = "good";
  EXPECT_EQ(Run(), "[agent] 硬编自检缓存命中: good(用硬编)\n");
  EXPECT_EQ(fake.calls, Calls{});
  EXPECT_TRUE(HardwareAllowed());
}

TEST_F(HardwareSelfTest, TakesARememberedBadVerdictAndSetsTheFlag) {
  fake.remembered = "bad";
  EXPECT_EQ(Run(), "[agent] 硬编自检缓存命中: bad(用软编)\n");
  EXPECT_EQ(fake.calls, Calls{});
  EXPECT_TRUE(hw_encoder_bad);
}

TEST_F(HardwareSelfTest, DoesNothingWhenSoftwareIsForced) {
  force_software_encoder = true;
  EXPECT_EQ(Run(), "");
  EXPECT_EQ(fake.calls, Calls{});
  EXPECT_FALSE(hw_encoder_bad);
}

TEST_F(HardwareSelfTest, StillTellsARememberedVerdictWhenSoftwareIsForced) {
  force_software_encoder = true;
  fake.remembered = "bad";
  EXPECT_EQ(Run(), "[agent] 硬编自检缓存命中: bad(用软编)\n");
  EXPECT_TRUE(hw_encoder_bad);
}

TEST_F(HardwareSelfTest, FindsHardwareGoodAtItsFirstUnitAndTellsTheTime) {
  fake.encode = [](int picture) {
    FakeClock::AdvanceNs(20 * kNsPerMs + kNsPerMs / 2);
    return picture < 2 ? -1 : 100;
  };
  EXPECT_EQ(Run(),
            "[agent] 硬编端到端自检: good(用硬编) (61 ms)，结论已落盘（换显卡/驱动自动重测）\n");
  EXPECT_EQ(fake.calls, (Calls{"init 640x480@30 8000", "encode 0", "encode 33", "encode 66",
                               "shutdown", "destroy", "save GPU|0000000000000001 good"}));
  EXPECT_FALSE(hw_encoder_bad);
}

TEST_F(HardwareSelfTest, EncodesABlackPictureOfTheCapturedSize) {
  Run(4, 2);
  EXPECT_EQ(fake.calls.front(), "init 4x2@30 8000");
  EXPECT_EQ(fake.picture, std::vector<uint8_t>(32, 0));
}

TEST_F(HardwareSelfTest, LeavesOutTheOddColumnAndRow) {
  Run(1367, 769);
  EXPECT_EQ(fake.calls.front(), "init 1366x768@30 8000");
}

TEST_F(HardwareSelfTest, DoesNotCountAnEmptyUnit) {
  fake.encode = [](int picture) {
    FakeClock::AdvanceMs(10);
    return picture == 0 ? 0 : 1;
  };
  EXPECT_NE(Run().find("good(用硬编) (20 ms)"), std::string::npos);
  EXPECT_EQ(fake.encoded, 2);
}

TEST_F(HardwareSelfTest, RecordsBadWithoutAHardwareTransform) {
  fake.hardware = false;
  EXPECT_EQ(Run(),
            "[agent] 硬编端到端自检: bad(用软编) (0 ms)，结论已落盘（换显卡/驱动自动重测）\n");
  EXPECT_EQ(fake.calls, (Calls{"init 640x480@30 8000", "shutdown", "destroy",
                               "save GPU|0000000000000001 bad"}));
  EXPECT_TRUE(hw_encoder_bad);
}

TEST_F(HardwareSelfTest, RecordsBadWhenNoEncoderCanBeBuilt) {
  fake.initWorks = false;
  EXPECT_EQ(Run(),
            "[agent] 硬编端到端自检: bad(用软编) (0 ms)，结论已落盘（换显卡/驱动自动重测）\n");
  EXPECT_EQ(fake.encoded, 0);
  EXPECT_TRUE(hw_encoder_bad);
}

TEST_F(HardwareSelfTest, RecordsBadAfterOneAndAHalfSecondsWithoutOutput) {
  fake.encode = [](int) {
    FakeClock::AdvanceMs(300);
    return -1;
  };
  EXPECT_EQ(Run(),
            "[agent] 硬编端到端自检: bad(用软编) (1500 ms)，结论已落盘（换显卡/驱动自动重测）\n");
  EXPECT_EQ(fake.encoded, 5);
  EXPECT_TRUE(hw_encoder_bad);
  EXPECT_EQ(fake.Count("save GPU|0000000000000001 bad"), 1u);
}

TEST_F(HardwareSelfTest, LeavesTheFlagSetWhenAFallBackInTheTestGivesTheOutput) {
  fake.encode = [](int picture) {
    if (picture < 2) {
      return -1;
    }
    hw_encoder_bad = true;
    return 100;
  };
  EXPECT_NE(Run().find("good(用硬编)"), std::string::npos);
  EXPECT_EQ(fake.calls.back(), "save GPU|0000000000000001 good");
  EXPECT_TRUE(hw_encoder_bad);
}

TEST_F(HardwareSelfTest, TestsAtEveryStartWithoutAnIdentity) {
  fake.key.clear();
  fake.remembered = "good";
  EXPECT_NE(Run().find("硬编端到端自检: good"), std::string::npos);
  EXPECT_EQ(fake.encoded, 1);
}

}  // namespace
}  // namespace talu
