#include "encoder/hardware_self_test.h"

#include <vector>

#include "base/clock.h"
#include "base/log.h"
#include "encoder/encoder_flags.h"
#include "encoder/encoder_settings.h"
#include "encoder/gpu_identity.h"
#include "encoder/h264_encoder.h"
#include "encoder/transform_patience.h"
#include "encoder/verdict_file.h"
#include "encoder/verdict_line.h"

namespace talu {
namespace {

constexpr int32_t kTestFps = 30;
constexpr int32_t kTestKbps = 8000;
constexpr int64_t kTestStepMs = 33;
constexpr int64_t kTestOutputTimeoutMs = 1500;

// True when the remembered verdict rules and no test is needed.
bool TookRememberedVerdict(const std::string& key) {
  bool good = false;
  if (!LoadEncoderVerdict(key, good)) {
    return false;
  }
  if (!good) {
    MarkHardwareBad();
  }
  LogPrintf("[agent] 硬编自检缓存命中: %s\n", VerdictLogText(good));
  FlushLog();
  return true;
}

// Encodes black pictures until something comes out. Encode sets the pace.
bool GivesOutputInTime(H264Encoder& encoder) {
  const std::vector<uint8_t> picture(static_cast<size_t>(encoder.width) *
                                     static_cast<size_t>(encoder.height) * 4);
  const Deadline deadline(MonotonicNowNs(), kTestOutputTimeoutMs);
  bool gotOutput = false;
  int64_t timestampMs = 0;
  while (!gotOutput && !deadline.Reached(MonotonicNowNs())) {
    encoder.Encode(picture.data(), timestampMs,
                   [&gotOutput](const uint8_t*, uint32_t size, bool, int64_t) {
                     gotOutput = gotOutput || size > 0;
                   });
    timestampMs += kTestStepMs;
  }
  return gotOutput;
}

bool HardwareWorks(int32_t width, int32_t height) {
  H264Encoder encoder;
  const bool hardwareBuilt =
      encoder.Init(width, height, kTestFps, kTestKbps) && encoder.IsHardware();
  const bool works = hardwareBuilt && GivesOutputInTime(encoder);
  encoder.Shutdown();
  return works;
}

}  // namespace

void RunHardwareEncoderSelfTest(int32_t width, int32_t height) {
  const std::string key = GpuIdentityKey();
  if (TookRememberedVerdict(key) || force_software_encoder.load(std::memory_order_relaxed)) {
    return;
  }
  const int64_t startNs = MonotonicNowNs();
  const bool works = HardwareWorks(EvenSize(width), EvenSize(height));
  if (!works) {
    MarkHardwareBad();
  }
  SaveEncoderVerdict(key, works);
  LogPrintf("[agent] 硬编端到端自检: %s (%lld ms)，结论已落盘（换显卡/驱动自动重测）\n",
            VerdictLogText(works), static_cast<long long>((MonotonicNowNs() - startNs) / kNsPerMs));
  FlushLog();
}

}  // namespace talu
