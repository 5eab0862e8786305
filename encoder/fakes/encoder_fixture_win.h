// A machine for one encoder test: fake media system, clock and local application data, the log
// captured, the process-wide flags as at start. At the end everything must have been released.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "encoder/fakes/fake_media_system_win.h"
#include "encoder/h264_encoder.h"
#include "tests/fakes/log_capture.h"

namespace talu {

// What an encoder delivered.
struct Delivered {
  std::vector<uint8_t> bytes;
  bool keyFrame;
  int64_t timestampMs;

  bool operator==(const Delivered&) const = default;
};

class EncoderFixture : public testing::Test {
 protected:
  static constexpr int32_t kWidth = 8;
  static constexpr int32_t kHeight = 4;
  static constexpr char kGpuKey[] = "Example Display Adapter|001F000000651196";

  EncoderFixture();
  ~EncoderFixture() override;
  void TearDown() override;

  // Encodes one grey picture of the fixture's size.
  bool Encode(int64_t timestampMs = 0);

  // The verdict file's bytes; nothing when there is none.
  std::optional<std::string> VerdictFileBytes() const;
  void WriteVerdictFile(const std::string& bytes) const;

  std::filesystem::path localData;
  FakeMediaSystem system;
  std::optional<H264Encoder> held{std::in_place};
  H264Encoder& encoder = *held;
  std::vector<Delivered> delivered;
  // Reports to the real stdout when the test has failed, so it goes last.
  std::optional<LogCapture> log;
};

}  // namespace talu
