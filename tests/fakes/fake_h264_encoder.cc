#include "tests/fakes/fake_h264_encoder.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "encoder/h264_encoder.h"
#include "encoder/hardware_self_test.h"

namespace talu {

struct EncoderState {
  std::atomic<bool> inUse{false};
  std::atomic<bool> forced{true};  // an encoder's first picture is a key frame
};

namespace {

// One call of the kind that only one thread may make at a time.
class SoleUse {
 public:
  explicit SoleUse(std::atomic<bool>& used) : inUse(used) {
    if (inUse.exchange(true)) std::abort();
  }
  ~SoleUse() { inUse.store(false); }

 private:
  std::atomic<bool>& inUse;
};

}  // namespace

FakeEncoder& FakeEncoder::Get() {
  static FakeEncoder fake;
  return fake;
}

void FakeEncoder::Reset() {
  const std::lock_guard hold(lock);
  failInits = 0;
  settledFps = 0;
  swallow = false;
  onInit = nullptr;
  onSetBitrate = nullptr;
  lastKbps = 0;
  selfTests = 0;
  lastSelfTest.clear();
  calls.clear();
  pictures.clear();
}

void FakeEncoder::FailInits(int count) {
  const std::lock_guard hold(lock);
  failInits = count;
}

void FakeEncoder::SettleOn(int32_t fps) {
  const std::lock_guard hold(lock);
  settledFps = fps;
}

void FakeEncoder::SwallowPictures(bool on) {
  const std::lock_guard hold(lock);
  swallow = on;
}

void FakeEncoder::OnInit(std::function<void()> hook) {
  const std::lock_guard hold(lock);
  onInit = std::move(hook);
}

void FakeEncoder::OnSetBitrate(std::function<void(int32_t)> hook) {
  const std::lock_guard hold(lock);
  onSetBitrate = std::move(hook);
}

int32_t FakeEncoder::Kbps() {
  const std::lock_guard hold(lock);
  return lastKbps;
}

std::vector<std::string> FakeEncoder::Calls() {
  const std::lock_guard hold(lock);
  return calls;
}

std::vector<EncodedPicture> FakeEncoder::Pictures() {
  const std::lock_guard hold(lock);
  return pictures;
}

int FakeEncoder::Alive() {
  const std::lock_guard hold(lock);
  return alive;
}

int FakeEncoder::SelfTests() {
  const std::lock_guard hold(lock);
  return selfTests;
}

std::string FakeEncoder::LastSelfTest() {
  const std::lock_guard hold(lock);
  return lastSelfTest;
}

void FakeEncoder::Note(std::string call) {
  const std::lock_guard hold(lock);
  // Storm tests make millions.
  constexpr size_t kKeptCalls = 100'000;
  if (calls.size() < kKeptCalls) {
    calls.push_back(std::move(call));
  }
}

void SetEncoderPreference(bool) {}

void RunHardwareEncoderSelfTest(int32_t width, int32_t height) {
  FakeEncoder& fake = FakeEncoder::Get();
  const std::lock_guard hold(fake.lock);
  ++fake.selfTests;
  fake.lastSelfTest = std::to_string(width) + "x" + std::to_string(height);
}

H264Encoder::H264Encoder() : state(std::make_unique<EncoderState>()) {
  const std::lock_guard hold(FakeEncoder::Get().lock);
  ++FakeEncoder::Get().alive;
}

H264Encoder::~H264Encoder() {
  SoleUse use(state->inUse);
  FakeEncoder::Get().Note("Destroy");
  const std::lock_guard hold(FakeEncoder::Get().lock);
  --FakeEncoder::Get().alive;
}

bool H264Encoder::Init(int32_t newWidth, int32_t newHeight, int32_t newFps, int32_t kbps) {
  SoleUse use(state->inUse);
  FakeEncoder& fake = FakeEncoder::Get();
  fake.Note("Init " + std::to_string(newWidth) + "x" + std::to_string(newHeight) + "@" +
            std::to_string(newFps) + " " + std::to_string(kbps));
  std::function<void()> hook;
  {
    const std::lock_guard hold(fake.lock);
    hook = fake.onInit;
  }
  if (hook) {
    hook();
  }
  const std::lock_guard hold(fake.lock);
  width = newWidth;
  height = newHeight;
  fps = fake.settledFps > 0 ? fake.settledFps : newFps;
  fake.lastKbps = kbps;
  if (fake.failInits > 0) {
    --fake.failInits;
    return false;
  }
  return true;
}

void H264Encoder::SetBitrate(int32_t kbps) {
  FakeEncoder& fake = FakeEncoder::Get();
  std::function<void(int32_t)> hook;
  {
    const std::lock_guard hold(fake.lock);
    hook = fake.onSetBitrate;
  }
  if (hook) {
    hook(kbps);
  }
  fake.Note("SetBitrate " + std::to_string(kbps));
  const std::lock_guard hold(fake.lock);
  fake.lastKbps = kbps;
}

void H264Encoder::ForceKeyFrame() {
  SoleUse use(state->inUse);
  FakeEncoder::Get().Note("ForceKeyFrame");
  state->forced.store(true);
}

bool H264Encoder::Encode(const uint8_t* bgra, int64_t timestampMs,
                         const EncodedFrameCallback& onOutput) {
  SoleUse use(state->inUse);
  FakeEncoder& fake = FakeEncoder::Get();
  constexpr size_t kBytesPerPixel = 4;
  const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height) * kBytesPerPixel;
  // Touches the whole picture, so that a sanitizer sees one that is too short.
  uint32_t sum = 0;
  for (size_t at = 0; at < size; ++at) {
    sum += bgra[at];
  }
  EncodedPicture picture{width, height, timestampMs, state->forced.exchange(false), 0};
  std::memcpy(&picture.firstPixel, bgra, sizeof(picture.firstPixel));
  bool swallowed = false;
  {
    const std::lock_guard hold(fake.lock);
    fake.pictures.push_back(picture);
    swallowed = fake.swallow;
  }
  if (!swallowed) {
    const uint8_t unit[] = {0, 0, 0, 1, static_cast<uint8_t>(sum)};
    onOutput(unit, sizeof(unit), picture.keyFrame, timestampMs);
  }
  return true;
}

void H264Encoder::Shutdown() {}

}  // namespace talu
