#include "encoder/encoder_flags.h"

#include <gtest/gtest.h>

#include "encoder/h264_encoder.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

class EncoderFlags : public testing::Test {
 protected:
  void SetUp() override { Clear(); }
  void TearDown() override { Clear(); }

 private:
  static void Clear() {
    hw_encoder_bad = false;
    force_software_encoder = false;
  }
};

TEST_F(EncoderFlags, AllowHardwareUntilOneIsSet) {
  EXPECT_TRUE(HardwareAllowed());
  MarkHardwareBad();
  EXPECT_TRUE(hw_encoder_bad);
  EXPECT_FALSE(force_software_encoder);
  EXPECT_FALSE(HardwareAllowed());
  force_software_encoder = true;
  EXPECT_FALSE(HardwareAllowed());
  hw_encoder_bad = false;
  EXPECT_FALSE(HardwareAllowed());
}

TEST_F(EncoderFlags, PreferenceForcesSoftwareAndSaysSo) {
  LogCapture log;
  SetEncoderPreference(true);
  EXPECT_TRUE(force_software_encoder);
  EXPECT_FALSE(hw_encoder_bad);
  EXPECT_EQ(log.Text(), "[agent] 编码器偏好: 强制软件编码(D3D 硬编关闭)\n");
}

TEST_F(EncoderFlags, PreferenceAllowsHardwareAndSaysSo) {
  LogCapture log;
  SetEncoderPreference(false);
  EXPECT_FALSE(force_software_encoder);
  EXPECT_EQ(log.Text(), "[agent] 编码器偏好: 允许 D3D 硬编\n");
}

}  // namespace
}  // namespace talu
