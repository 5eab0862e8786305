#include "encoder/transform_setup_win.h"

#include <codecapi.h>
#include <mfapi.h>

#include "base/log.h"
#include "base/system_calls_win.h"
#include "encoder/direct3d_manager_win.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

// eAVEncH264VProfile_Main.
constexpr UINT32 kMainProfile = 77;

// A transform that offers more types than this without an H.264 one will not offer one at all.
constexpr DWORD kMaxOfferedTypes = 16;

// Asynchronous transforms refuse every call until they are unlocked. Synchronous ones ignore it.
void SetAttributes(IMFTransform& transform) {
  ComPtr<IMFAttributes> attributes;
  if (FAILED(transform.GetAttributes(&attributes)) || attributes == nullptr) {
    return;
  }
  attributes->SetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, 1);
  attributes->SetUINT32(MF_LOW_LATENCY, 1);
}

void GiveDirect3d(EncoderState& state) {
  if (!CreateDirect3dManager(state)) {
    LogPrintf("[agent] D3D manager 创建失败，硬编可能不出帧（将由回退软编兜底）\n");
    return;
  }
  const HRESULT result = state.transform->ProcessMessage(
      MFT_MESSAGE_SET_D3D_MANAGER, reinterpret_cast<ULONG_PTR>(state.dxgi_manager.Get()));
  LogPrintf("[agent] SET_D3D_MANAGER -> 0x%08lX\n", static_cast<unsigned long>(result));
}

// Transforms with fixed streams answer that they do not implement this; theirs are number 0.
void ReadStreamIds(EncoderState& state) {
  DWORD input = 0;
  DWORD output = 0;
  const bool told = SUCCEEDED(state.transform->GetStreamIDs(1, &input, 1, &output));
  state.input_stream_id = told ? input : 0;
  state.output_stream_id = told ? output : 0;
}

HRESULT SetCodecFlag(ICodecAPI& codecApi, const GUID& property) {
  VARIANT variant{};
  variant.vt = VT_BOOL;
  variant.boolVal = VARIANT_TRUE;
  return codecApi.SetValue(&property, &variant);
}

// What both types have. False without memory.
bool SetPictureAttributes(IMFMediaType& type, const EncoderSettings& settings) {
  return SUCCEEDED(
             type.SetUINT64(MF_MT_FRAME_SIZE, PackPair(static_cast<uint32_t>(settings.width),
                                                       static_cast<uint32_t>(settings.height)))) &&
         SUCCEEDED(
             type.SetUINT64(MF_MT_FRAME_RATE, PackPair(static_cast<uint32_t>(settings.fps), 1))) &&
         SUCCEEDED(type.SetUINT64(MF_MT_PIXEL_ASPECT_RATIO, PackPair(1, 1))) &&
         SUCCEEDED(type.SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive));
}

bool SetOutputType(EncoderState& state, const EncoderSettings& settings) {
  ComPtr<IMFMediaType> type;
  return SUCCEEDED(System().MfCreateMediaType(&type)) &&
         SUCCEEDED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video)) &&
         SUCCEEDED(type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_H264)) &&
         SUCCEEDED(type->SetUINT32(MF_MT_AVG_BITRATE, BitsPerSecond(settings.kbps))) &&
         SetPictureAttributes(*type.Get(), settings) &&
         SUCCEEDED(type->SetUINT32(MF_MT_MPEG2_PROFILE, kMainProfile)) &&
         SUCCEEDED(state.transform->SetOutputType(state.output_stream_id, type.Get(), 0));
}

bool SetInputType(EncoderState& state, const EncoderSettings& settings) {
  ComPtr<IMFMediaType> type;
  return SUCCEEDED(System().MfCreateMediaType(&type)) &&
         SUCCEEDED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video)) &&
         SUCCEEDED(type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_NV12)) &&
         SetPictureAttributes(*type.Get(), settings) &&
         SUCCEEDED(state.transform->SetInputType(state.input_stream_id, type.Get(), 0));
}

bool IsH264(IMFMediaType& type) {
  GUID subtype{};
  return SUCCEEDED(type.GetGUID(MF_MT_SUBTYPE, &subtype)) &&
         IsEqualGUID(subtype, MFVideoFormat_H264);
}

}  // namespace

void DropTransform(EncoderState& state) {
  state.transform.Reset();
  state.event_generator.Reset();
  state.codec_api.Reset();
  state.dxgi_manager.Reset();
  state.d3d_device.Reset();
  state.is_hardware = false;
}

void OpenTransform(EncoderState& state, bool hardware) {
  SetAttributes(*state.transform.Get());
  // Either may be missing; the field then stays null.
  state.transform->QueryInterface(IID_PPV_ARGS(&state.event_generator));
  state.transform->QueryInterface(IID_ICodecAPI, &state.codec_api);
  if (hardware) {
    GiveDirect3d(state);
  }
  ReadStreamIds(state);
}

void SetRates(ICodecAPI& codecApi, const EncoderSettings& settings) {
  SetCodecNumber(codecApi, CODECAPI_AVEncCommonRateControlMode, eAVEncCommonRateControlMode_CBR);
  SetCodecNumber(codecApi, CODECAPI_AVEncCommonMeanBitRate, BitsPerSecond(settings.kbps));
  SetCodecNumber(codecApi, CODECAPI_AVEncMPVDefaultBPictureCount, 0);
  SetCodecFlag(codecApi, CODECAPI_AVEncCommonLowLatency);
  SetCodecNumber(codecApi, CODECAPI_AVEncMPVGOPSize, GopLength(settings.fps));
}

HRESULT SetCodecNumber(ICodecAPI& codecApi, const GUID& property, uint32_t value) {
  VARIANT variant{};
  variant.vt = VT_UI4;
  variant.ulVal = value;
  return codecApi.SetValue(&property, &variant);
}

bool SetTypes(EncoderState& state, const EncoderSettings& settings) {
  return SetOutputType(state, settings) && SetInputType(state, settings);
}

void ReadOutputStream(EncoderState& state) {
  MFT_OUTPUT_STREAM_INFO info{};
  if (FAILED(state.transform->GetOutputStreamInfo(state.output_stream_id, &info))) {
    info = {};
  }
  constexpr DWORD kProvides =
      MFT_OUTPUT_STREAM_PROVIDES_SAMPLES | MFT_OUTPUT_STREAM_CAN_PROVIDE_SAMPLES;
  state.output_provides_samples = (info.dwFlags & kProvides) != 0;
  state.output_buffer_size = info.cbSize;
}

bool AcceptOfferedOutputType(EncoderState& state) {
  for (DWORD index = 0; index < kMaxOfferedTypes; ++index) {
    ComPtr<IMFMediaType> type;
    if (FAILED(state.transform->GetOutputAvailableType(state.output_stream_id, index, &type))) {
      return false;
    }
    if (IsH264(*type.Get()) &&
        SUCCEEDED(state.transform->SetOutputType(state.output_stream_id, type.Get(), 0))) {
      ReadOutputStream(state);
      return true;
    }
  }
  return false;
}

}  // namespace talu
