#include <windows.h>

#include <codecapi.h>
#include <mfapi.h>
#include <mferror.h>

#include <cstring>
#include <span>

#include "base/clock.h"
#include "base/log.h"
#include "base/system_calls_win.h"
#include "encoder/encoder_flags.h"
#include "encoder/encoder_settings.h"
#include "encoder/encoder_state_win.h"
#include "encoder/h264_encoder.h"
#include "encoder/locked_buffer_win.h"
#include "encoder/media_events_win.h"
#include "encoder/output_drain_win.h"
#include "encoder/picture_staging.h"
#include "encoder/transform_setup_win.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

// A buffer holding one NV12 picture; null without memory.
ComPtr<IMFMediaBuffer> MakeInputBuffer(std::span<const uint8_t> nv12) {
  const auto size = static_cast<DWORD>(nv12.size());
  ComPtr<IMFMediaBuffer> buffer;
  if (FAILED(System().MfCreateMemoryBuffer(size, &buffer))) {
    return nullptr;
  }
  LockedBuffer bytes(*buffer.Get());
  if (!bytes || bytes.Capacity() < size) {
    return nullptr;
  }
  std::memcpy(bytes.Data(), nv12.data(), size);
  if (!bytes.Unlock() || FAILED(buffer->SetCurrentLength(size))) {
    return nullptr;
  }
  return buffer;
}

// The picture as the transform takes it; null without memory.
ComPtr<IMFSample> MakeInputSample(std::span<const uint8_t> nv12, int64_t timestampMs, int32_t fps) {
  const ComPtr<IMFMediaBuffer> buffer = MakeInputBuffer(nv12);
  ComPtr<IMFSample> sample;
  if (buffer == nullptr || FAILED(System().MfCreateSample(&sample))) {
    return nullptr;
  }
  // Fail without memory only; the transform then refuses the sample.
  sample->AddBuffer(buffer.Get());
  sample->SetSampleTime(SampleTime(timestampMs));
  sample->SetSampleDuration(SampleDuration(fps));
  return sample;
}

HRESULT ProcessInput(EncoderState& state, IMFSample& sample) {
  return state.transform->ProcessInput(state.input_stream_id, &sample, 0);
}

bool HasOutputReady(EncoderState& state) {
  DWORD status = 0;
  return state.transform->GetOutputStatus(&status) == S_OK &&
         (status & MFT_OUTPUT_STATUS_SAMPLE_READY) != 0;
}

void DrainReady(EncoderState& state, OutputDrain& drain) {
  for (int pulled = 0; pulled < kMaxOutputsPerPicture; ++pulled) {
    const bool retyped = drain.DrainOne();
    if (!HasOutputReady(state) && !retyped) {
      return;
    }
  }
}

// False when the transform refused the picture.
bool FeedSynchronous(EncoderState& state, IMFSample& sample, OutputDrain& drain) {
  HRESULT result = ProcessInput(state, sample);
  if (result == MF_E_NOTACCEPTING) {
    drain.DrainOne();
    result = ProcessInput(state, sample);
  }
  if (FAILED(result)) {
    if (sync_input_failures.Take()) {
      LogPrintf("[agent] ProcessInput failed hr=0x%08lX\n", static_cast<unsigned long>(result));
    }
    return false;
  }
  DrainReady(state, drain);
  return true;
}

// Answers the request that is still open from an earlier event. False when there is none, or when
// the transform no longer wants an answer.
bool AnswerPendingRequest(EncoderState& state, IMFSample& sample) {
  if (state.pending_need_input <= 0 || FAILED(ProcessInput(state, sample))) {
    return false;
  }
  --state.pending_need_input;
  return true;
}

bool AnswerRequest(EncoderState& state, IMFSample& sample) {
  const HRESULT result = ProcessInput(state, sample);
  if (FAILED(result) && async_input_failures.Take()) {
    LogPrintf("[agent] ProcessInput(async) 失败 0x%08lX\n", static_cast<unsigned long>(result));
  }
  return SUCCEEDED(result);
}

// Waits until the transform asks for a picture and gives it this one.
bool AwaitRequestAndAnswer(EncoderState& state, IMFSample& sample, OutputDrain& drain) {
  const Deadline deadline(MonotonicNowNs(), kInputRequestTimeoutMs);
  while (!deadline.Reached(MonotonicNowNs())) {
    const std::optional<MediaEventType> event = NextEvent(*state.event_generator.Get());
    if (!event) {
      SleepForMs(kEventPollMs);
    } else if (*event == METransformNeedInput) {
      return AnswerRequest(state, sample);
    } else if (*event == METransformHaveOutput) {
      drain.DrainOne();
    }
  }
  return false;
}

// Requests for input among these events go unanswered on purpose: each picture waits for a request
// of its own, which keeps pictures from piling up in the transform.
void DrainQueuedEvents(EncoderState& state, OutputDrain& drain) {
  for (int looked = 0; looked < kMaxOutputsPerPicture; ++looked) {
    const std::optional<MediaEventType> event = NextEvent(*state.event_generator.Get());
    if (!event) {
      return;
    }
    if (*event == METransformHaveOutput) {
      drain.DrainOne();
    }
  }
}

// False when the transform did not take the picture.
bool FeedAsynchronous(EncoderState& state, IMFSample& sample, OutputDrain& drain) {
  if (!AnswerPendingRequest(state, sample) && !AwaitRequestAndAnswer(state, sample, drain)) {
    LogPrintf("[agent] 编码器 300ms 内未发出 NeedInput，跳过本帧（MFT 未就绪？）\n");
    return false;
  }
  state.no_input_streak = 0;
  DrainQueuedEvents(state, drain);
  return true;
}

}  // namespace

bool H264Encoder::Encode(const uint8_t* bgra, int64_t timestampMs,
                         const EncodedFrameCallback& onOutput) {
  if (state->transform == nullptr || bgra == nullptr) {
    return false;
  }
  const ComPtr<IMFSample> sample =
      MakeInputSample(StageNv12(bgra, width, height, state->nv12), timestampMs, fps);
  if (sample == nullptr) {
    return false;
  }
  OutputDrain drain(*state, onOutput);
  if (state->event_generator == nullptr) {
    const bool accepted = FeedSynchronous(*state, *sample.Get(), drain);
    return RebuildIfSilent(drain.Delivered()) ? false : accepted;
  }
  if (FeedAsynchronous(*state, *sample.Get(), drain)) {
    return !RebuildIfSilent(drain.Delivered());
  }
  if (MissedInput(state->is_hardware, state->no_input_streak)) {
    FallBackToSoftware();
  }
  return false;
}

void H264Encoder::FallBackToSoftware() {
  LogPrintf("[agent] 硬件异步编码器持续无输出，回退软件编码器重建...\n");
  FlushLog();
  GiveUpHardware();
  LogPrintf(Init(width, height, fps, state->bitrate_kbps)
                ? "[agent] 已回退到软件编码器，下一帧起恢复出流\n"
                : "[agent] 软件编码器重建失败\n");
}

bool H264Encoder::RebuildIfSilent(bool delivered) {
  if (delivered || !state->silence.PictureWithoutOutput(MonotonicNowNs())) {
    return false;
  }
  LogPrintf("[agent] 编码器收帧 %lld 秒无任何输出，重建编码器...\n",
            static_cast<long long>(state->silence.LastWaitSeconds()));
  FlushLog();
  if (state->is_hardware) {
    GiveUpHardware();
  }
  if (!Init(width, height, fps, state->bitrate_kbps)) {
    LogPrintf("[agent] 软件编码器重建失败\n");
  }
  return true;
}

void H264Encoder::ForceKeyFrame() {
  if (state->codec_api != nullptr) {
    SetCodecNumber(*state->codec_api.Get(), CODECAPI_AVEncVideoForceKeyFrame, 1);
  }
}

}  // namespace talu
