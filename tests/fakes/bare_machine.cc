#include "tests/fakes/bare_machine.h"

#include <array>

#include "capture/desktop_repaint.h"
#include "capture/screen_capturer.h"
#include "encoder/h264_encoder.h"
#include "encoder/hardware_self_test.h"
#include "input/injection.h"

namespace talu {

std::atomic<int64_t> bareInjections{0};
void (*onBareFrame)(int64_t number) = nullptr;

namespace {

std::array<uint8_t, size_t{4} * kBareWidth * kBareHeight> picture{};
int64_t frames = 0;
int librarySession = 0;

int32_t CreateSession(const SdkSessionParams*, SdkSessionHandle* session) {
  frames = 0;
  *session = &librarySession;
  return kSdkOk;
}

int32_t TakeFrame(SdkSessionHandle, const SdkVideoFrame*) {
  ++frames;
  if (onBareFrame != nullptr) onBareFrame(frames);
  return kSdkOk;
}

}  // namespace

StreamSdk BareStreamSdk() {
  StreamSdk sdk;
  sdk.global_init = [](const SdkGlobalConfig*) { return kSdkOk; };
  sdk.global_cleanup = [] {};
  sdk.session_create = CreateSession;
  sdk.session_destroy = [](SdkSessionHandle) {};
  sdk.send_video_frame = TakeFrame;
  sdk.send_custom_message = [](SdkSessionHandle, const SdkCustomMessage*) { return kSdkOk; };
  sdk.set_screen_info = [](SdkSessionHandle, const SdkScreenInfo*) { return kSdkOk; };
  sdk.str_err = [](int32_t) { return ""; };
  return sdk;
}

// --- Capture -------------------------------------------------------------------------------------

struct ScreenCapturer::CaptureDevice {};

ScreenCapturer::ScreenCapturer() = default;
ScreenCapturer::~ScreenCapturer() = default;
bool ScreenCapturer::Init(uint32_t) { return true; }
CapturedFrame ScreenCapturer::CaptureFrame(uint32_t) {
  return {picture.data(), kBareWidth, kBareHeight, true};
}
bool ScreenCapturer::SelectOutput(uint32_t) { return true; }
uint32_t ScreenCapturer::CurrentOutput() const { return 0; }
std::vector<ScreenInfo> ScreenCapturer::EnumerateScreens() {
  return {{0, "S0", kBareWidth, kBareHeight, 0, 0, true}};
}
void ScreenCapturer::StartAfresh() {}
bool ScreenCapturer::TakeReopening() { return false; }
bool ScreenCapturer::TakeCursorUpdate(CursorUpdate&) { return false; }

void ProvokeDesktopRepaint() {}

// --- Encoder -------------------------------------------------------------------------------------

struct EncoderState {
  bool keyFrame = true;
};

H264Encoder::H264Encoder() : state(std::make_unique<EncoderState>()) {}
H264Encoder::~H264Encoder() = default;
bool H264Encoder::Init(int32_t newWidth, int32_t newHeight, int32_t newFps, int32_t) {
  width = newWidth;
  height = newHeight;
  fps = newFps;
  return true;
}
void H264Encoder::SetBitrate(int32_t) {}
void H264Encoder::ForceKeyFrame() { state->keyFrame = true; }
bool H264Encoder::Encode(const uint8_t*, int64_t timestampMs,
                         const EncodedFrameCallback& onOutput) {
  const uint8_t unit = 0;
  onOutput(&unit, 1, state->keyFrame, timestampMs);
  state->keyFrame = false;
  return true;
}
void H264Encoder::Shutdown() {}
bool H264Encoder::IsHardware() const { return false; }

void SetEncoderPreference(bool) {}
void RunHardwareEncoderSelfTest(int32_t, int32_t) {}

// --- Input ---------------------------------------------------------------------------------------

InjectionResult InjectInput(std::span<const InputRecord> records) {
  bareInjections.fetch_add(static_cast<int64_t>(records.size()), std::memory_order_relaxed);
  return {static_cast<uint32_t>(records.size()), 0};
}
int32_t SystemMetric(int metric) {
  const bool horizontal = metric == kPrimaryWidthMetric || metric == kVirtualWidthMetric;
  const bool vertical = metric == kPrimaryHeightMetric || metric == kVirtualHeightMetric;
  return horizontal ? kBareWidth : vertical ? kBareHeight : 0;
}
uint16_t KeyScan(char) { return kNoKeyScan; }
std::u16string Utf16FromUtf8(std::string_view text) { return {text.begin(), text.end()}; }

}  // namespace talu
