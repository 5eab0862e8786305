#include "encoder/h264_encoder.h"

#include <windows.h>

#include <codecapi.h>
#include <mfapi.h>
#include <objbase.h>

#include "base/clock.h"
#include "base/log.h"
#include "base/system_calls_win.h"
#include "encoder/encoder_flags.h"
#include "encoder/encoder_settings.h"
#include "encoder/encoder_state_win.h"
#include "encoder/gpu_identity.h"
#include "encoder/media_events_win.h"
#include "encoder/transform_choice_win.h"
#include "encoder/transform_setup_win.h"
#include "encoder/verdict_file.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

// COM unloads the transforms' DLLs when the last thread leaves it, yet the event generator and the
// codec interface outlive Shutdown. So once an encoder was built, COM stays for the process's life.
void KeepComLoaded() {
  static const HRESULT kept = [] {
    CO_MTA_USAGE_COOKIE cookie;
    return CoIncrementMTAUsage(&cookie);
  }();
  (void)kept;  // Without it things are as they are for every program that does not ask.
}

// Takes hold of COM and Media Foundation. False when there is no Media Foundation.
bool StartMediaFoundation(EncoderState& state) {
  // Fails on a thread that is in another apartment, where the transforms work as well.
  state.com_initialized = SUCCEEDED(System().CoInitialize(COINIT_MULTITHREADED));
  KeepComLoaded();
  state.mf_started = SUCCEEDED(System().MfStartup(MF_VERSION, MFSTARTUP_FULL));
  return state.mf_started;
}

// One attempt at an encoder of the given kind. On failure what was built stays until the next one.
bool TryTransform(EncoderState& state, bool hardware, const EncoderSettings& settings) {
  DropTransform(state);
  state.transform = hardware ? CreateHardwareTransform() : CreateSoftwareTransform();
  if (state.transform == nullptr) {
    return false;
  }
  OpenTransform(state, hardware);
  if (state.codec_api != nullptr) {
    SetRates(*state.codec_api.Get(), settings);
  }
  if (!SetTypes(state, settings)) {
    return false;
  }
  state.is_hardware = hardware;
  return true;
}

// Hardware first where it is allowed, then software. settings.fps comes in as the requested rate
// and leaves as the settled one.
bool ChooseTransform(EncoderState& state, EncoderSettings& settings) {
  const int32_t requestedFps = settings.fps;
  const GateClosing replacing(state.codec_api_gate);
  for (const bool hardware : {HardwareAllowed(), false}) {
    settings.fps = SettledFps(requestedFps, hardware);
    if (TryTransform(state, hardware, settings)) {
      return true;
    }
  }
  return false;
}

// The transform has its types: lets it begin. What it answers does not matter, as some know only
// part of these messages.
void BeginStreaming(EncoderState& state) {
  ReadOutputStream(state);
  state.transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0);
  state.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0);
  state.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_START_OF_STREAM, 0);
}

// Waits for an asynchronous hardware transform's first request for input, which many that do not
// work never make. True at once for every other kind.
bool AsksForInput(EncoderState& state) {
  if (!state.is_hardware || state.event_generator == nullptr) {
    return true;
  }
  const Deadline deadline(MonotonicNowNs(), kFirstInputTimeoutMs);
  while (!deadline.Reached(MonotonicNowNs())) {
    const std::optional<MediaEventType> event = NextEvent(*state.event_generator.Get());
    if (!event) {
      SleepForMs(kEventPollMs);
    } else if (*event == METransformNeedInput) {
      ++state.pending_need_input;
      return true;
    }
  }
  return false;
}

}  // namespace

H264Encoder::H264Encoder() : state(std::make_unique<EncoderState>()) {}

H264Encoder::~H264Encoder() { Shutdown(); }

bool H264Encoder::Init(int32_t pictureWidth, int32_t pictureHeight, int32_t givenFps,
                       int32_t kbps) {
  Shutdown();
  width = pictureWidth;
  height = pictureHeight;
  fps = RequestedFps(givenFps);
  state->bitrate_kbps = kbps;
  if (!IsEncodableSize(width, height) || !StartMediaFoundation(*state)) {
    return false;
  }
  EncoderSettings settings{width, height, fps, kbps};
  const bool chosen = ChooseTransform(*state, settings);
  fps = settings.fps;
  if (!chosen) {
    return false;
  }
  BeginStreaming(*state);
  if (!AsksForInput(*state)) {
    LogPrintf("[agent] 硬编 600ms 未发首个 NeedInput，判定本机硬编不可用，回退软件编码器\n");
    FlushLog();
    GiveUpHardware();
    // With hardware given up this builds software, so it comes here once only.
    return Init(width, height, fps, kbps);
  }
  LogPrintf("[agent] H264 encoder ready: %s %s MFT, %dx%d@%dfps %dkbps CBR\n",
            state->is_hardware ? "HARDWARE" : "SOFTWARE",
            state->event_generator != nullptr ? "ASYNC" : "SYNC", width, height, fps, kbps);
  state->silence.Start();
  return true;
}

void H264Encoder::GiveUpHardware() {
  MarkHardwareBad();
  SaveEncoderVerdict(GpuIdentityKey(), false);
  Shutdown();
  state->pending_need_input = 0;
  state->no_input_streak = 0;
}

bool H264Encoder::IsHardware() const { return state->is_hardware; }

void H264Encoder::SetBitrate(int32_t kbps) {
  // A reference of its own, so that a rebuild need not wait for a transform that is slow to answer.
  ComPtr<ICodecAPI> codecApi;
  if (const GatePass pass(state->codec_api_gate); pass) {
    codecApi = state->codec_api;
  }
  if (codecApi == nullptr || kbps < 1) {
    return;
  }
  const HRESULT result =
      SetCodecNumber(*codecApi.Get(), CODECAPI_AVEncCommonMeanBitRate, BitsPerSecond(kbps));
  LogPrintf("[agent] encoder SetBitrate %d kbps -> 0x%08lX\n", kbps,
            static_cast<unsigned long>(result));
}

void H264Encoder::Shutdown() {
  state->silence.Stop();
  if (state->transform != nullptr) {
    state->transform->ProcessMessage(MFT_MESSAGE_NOTIFY_END_OF_STREAM, 0);
    state->transform->ProcessMessage(MFT_MESSAGE_NOTIFY_END_STREAMING, 0);
    state->transform.Reset();
  }
  state->dxgi_manager.Reset();
  state->d3d_device.Reset();
  if (state->mf_started) {
    System().MfShutdown();
    state->mf_started = false;
  }
  if (state->com_initialized) {
    System().CoUninitialize();
    state->com_initialized = false;
  }
}

}  // namespace talu
