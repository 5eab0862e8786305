// Fails every call that an encoder's life makes, one at a time, at its first and each later time.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <map>

#include "encoder/encoder_flags.h"
#include "encoder/fakes/encoder_fixture_win.h"
#include "encoder/gpu_identity.h"
#include "tests/fakes/fake_clock.h"

namespace talu {
namespace {

constexpr int32_t kWidth = 8;
constexpr int32_t kHeight = 4;

// Calls that do not fail by answering, which a sweep leaves alone.
bool CannotFail(const std::string& call) { return call == "CoUninitialize"; }

// Calls repeated more often than this are alike from there on: polls, mostly.
constexpr int kMaxOccurrences = 12;

// The number of units that a run delivered.
using Scenario = std::function<int(FakeMediaSystem&)>;

int EncodeSome(H264Encoder& encoder, int pictures) {
  const std::vector<uint8_t> picture(kWidth * kHeight * 4, 50);
  int units = 0;
  for (int number = 0; number < pictures; ++number) {
    encoder.Encode(picture.data(), number,
                   [&](const uint8_t*, uint32_t, bool, int64_t) { ++units; });
  }
  return units;
}

int RunSoftware(FakeMediaSystem&) {
  H264Encoder encoder;
  encoder.Init(kWidth, kHeight, 60, 8000);
  encoder.ForceKeyFrame();
  const int units = EncodeSome(encoder, 3);
  encoder.SetBitrate(3000);
  return units + EncodeSome(encoder, 3);
}

int RunHardware(FakeMediaSystem& system) {
  system.AddHardware("hw");
  system.AddHardware("hw2");
  return RunSoftware(system);
}

int RunFallBack(FakeMediaSystem& system) {
  system.AddHardware("hw").asksAgain = false;
  return RunSoftware(system);
}

int RunFailedProbe(FakeMediaSystem& system) {
  system.AddHardware("hw").asksFirst = false;
  return RunSoftware(system);
}

class EncoderFaults : public testing::Test {
 protected:
  // One run in a fresh process state. Everything must be released at its end.
  static std::map<std::string, int> Once(const Scenario& run, const std::string& failing,
                                         int occurrence, int& units) {
    hw_encoder_bad = false;
    FakeClock::Reset();
    FakeMediaSystem system;
    if (occurrence > 0) {
      system.script.Fail(failing, occurrence, E_FAIL);
    }
    units = run(system);
    const std::string when = failing + " failing at " + std::to_string(occurrence);
    EXPECT_EQ(FakesAlive::Count(), 0) << when;
    EXPECT_EQ(system.MediaFoundationHeld(), 0) << when;
    EXPECT_EQ(system.ComHeld(), 0) << when;
    return system.script.Counts();
  }

  static void Sweep(const Scenario& run) {
    LogCapture log;
    int wholeUnits = 0;
    const std::map<std::string, int> calls = Once(run, "nothing", 0, wholeUnits);
    EXPECT_GT(wholeUnits, 0);
    for (const auto& [call, count] : calls) {
      if (CannotFail(call)) {
        continue;
      }
      for (int occurrence = 1; occurrence <= std::min(count, kMaxOccurrences); ++occurrence) {
        int units = 0;
        Once(run, call, occurrence, units);
        EXPECT_TRUE(units > 0 || call == "MFStartup" || call == "CoCreateInstance" ||
                    call == "MFCreateMediaType" || call.starts_with("sw.Set"))
            << call << " failing once at " << occurrence << " left the session without pictures";
      }
    }
    hw_encoder_bad = false;
  }

  void SetUp() override { _putenv_s("LOCALAPPDATA", ""); }
};

TEST_F(EncoderFaults, LoseNothingInSoftware) { Sweep(RunSoftware); }
TEST_F(EncoderFaults, LoseNothingInHardware) { Sweep(RunHardware); }
TEST_F(EncoderFaults, LoseNothingInAFallBack) { Sweep(RunFallBack); }
TEST_F(EncoderFaults, LoseNothingInAFailedProbe) { Sweep(RunFailedProbe); }

TEST_F(EncoderFaults, LoseNothingInTheIdentity) {
  Sweep([](FakeMediaSystem&) { return GpuIdentityKey().empty() ? 1 : 2; });
}

}  // namespace
}  // namespace talu
