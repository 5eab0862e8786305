#include "encoder/output_drain_win.h"

#include <mfapi.h>
#include <mferror.h>

#include "base/system_calls_win.h"
#include "encoder/encoder_settings.h"
#include "encoder/locked_buffer_win.h"
#include "encoder/transform_setup_win.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

// A sample for transforms that do not bring their own; null without memory.
ComPtr<IMFSample> MakeOutputSample(uint32_t advisedBytes) {
  ComPtr<IMFMediaBuffer> buffer;
  ComPtr<IMFSample> sample;
  const DWORD size = advisedBytes == 0 ? kDefaultOutputBufferBytes : advisedBytes;
  if (FAILED(System().MfCreateMemoryBuffer(size, &buffer)) ||
      FAILED(System().MfCreateSample(&sample)) || FAILED(sample->AddBuffer(buffer.Get()))) {
    return nullptr;
  }
  return sample;
}

}  // namespace

OutputDrain::OutputDrain(EncoderState& encoderState, const EncodedFrameCallback& sink)
    : state(encoderState), onOutput(sink) {}

bool OutputDrain::DrainOne() {
  return PullOne() == MF_E_TRANSFORM_STREAM_CHANGE && AcceptOfferedOutputType(state);
}

HRESULT OutputDrain::PullOne() {
  ComPtr<IMFSample> own;
  if (!state.output_provides_samples) {
    own = MakeOutputSample(state.output_buffer_size);
    if (own == nullptr) {
      return E_OUTOFMEMORY;
    }
  }
  MFT_OUTPUT_DATA_BUFFER record{state.output_stream_id, own.Get(), 0, nullptr};
  DWORD status = 0;
  const HRESULT result = state.transform->ProcessOutput(0, 1, &record, &status);
  // Both come with a reference for us, also when the call failed. (mingw's ComPtr::Attach would add
  // another.)
  ComPtr<IMFCollection> events;
  *events.GetAddressOf() = record.pEvents;
  ComPtr<IMFSample> provided;
  if (record.pSample != own.Get()) {
    *provided.GetAddressOf() = record.pSample;
  }
  if (SUCCEEDED(result) && record.pSample != nullptr) {
    Deliver(*record.pSample);
  }
  return result;
}

void OutputDrain::Deliver(IMFSample& sample) {
  UINT32 cleanPoint = 0;
  LONGLONG sampleTime = 0;
  if (FAILED(sample.GetUINT32(MFSampleExtension_CleanPoint, &cleanPoint))) {
    cleanPoint = 0;
  }
  if (FAILED(sample.GetSampleTime(&sampleTime))) {
    sampleTime = 0;
  }
  ComPtr<IMFMediaBuffer> whole;
  if (FAILED(sample.ConvertToContiguousBuffer(&whole))) {
    return;
  }
  const LockedBuffer bytes(*whole.Get());
  if (!bytes) {
    return;
  }
  delivered = true;
  state.silence.SawOutput();
  onOutput(bytes.Data(), bytes.Length(), cleanPoint != 0, TimestampMs(sampleTime));
}

}  // namespace talu
