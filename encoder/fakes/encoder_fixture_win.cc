#include "encoder/fakes/encoder_fixture_win.h"

#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "encoder/encoder_flags.h"
#include "tests/fakes/fake_clock.h"

namespace talu {
namespace {

std::filesystem::path FreshDirectory() {
  static int count = 0;
  return std::filesystem::temp_directory_path() /
         ("talu_encoder_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(++count));
}

void ResetProcess() {
  hw_encoder_bad = false;
  force_software_encoder = false;
  sync_input_failures.Refill(5);
  async_input_failures.Refill(3);
  FakeClock::Reset();
}

}  // namespace

EncoderFixture::EncoderFixture() : localData(FreshDirectory()) {
  ResetProcess();
  std::filesystem::create_directories(localData);
  _putenv_s("LOCALAPPDATA", localData.string().c_str());
  log.emplace();
}

EncoderFixture::~EncoderFixture() {
  log.reset();
  ResetProcess();
  std::error_code ignored;  // A directory left in the temporary one harms nothing.
  std::filesystem::remove_all(localData, ignored);
}

void EncoderFixture::TearDown() {
  held.reset();
  EXPECT_EQ(FakesAlive::Count(), 0);
  EXPECT_EQ(system.MediaFoundationHeld(), 0);
  EXPECT_EQ(system.ComHeld(), 0);
}

bool EncoderFixture::Encode(int64_t timestampMs) {
  const std::vector<uint8_t> picture(static_cast<size_t>(kWidth) * kHeight * 4, 128);
  return encoder.Encode(picture.data(), timestampMs,
                        [this](const uint8_t* data, uint32_t size, bool keyFrame, int64_t ms) {
                          delivered.push_back({{data, data + size}, keyFrame, ms});
                        });
}

std::optional<std::string> EncoderFixture::VerdictFileBytes() const {
  std::ifstream file(localData / "TALUDesk" / "hw_encoder_verdict.txt", std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void EncoderFixture::WriteVerdictFile(const std::string& bytes) const {
  std::filesystem::create_directories(localData / "TALUDesk");
  std::ofstream file(localData / "TALUDesk" / "hw_encoder_verdict.txt", std::ios::binary);
  file << bytes;
}

}  // namespace talu
