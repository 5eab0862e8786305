#include "devkit/wine/codec/encoder_transform.h"

#include <mfapi.h>
#include <mferror.h>

#include "devkit/wine/codec/call_log.h"

namespace talu {
namespace {

std::atomic<long> liveTransforms = 0;

unsigned long Bits(HRESULT hr) { return static_cast<unsigned long>(hr); }

void LogType(const char* who, const char* call, IMFMediaType* type, HRESULT hr) {
  if (!type) {
    LogCall(who, "%s none -> 0x%08lX", call, Bits(hr));
    return;
  }
  UINT32 width = 0, height = 0, numerator = 0, denominator = 0;
  GUID subtype = {};
  // What the type does not say is written as zero.
  MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &width, &height);
  MFGetAttributeRatio(type, MF_MT_FRAME_RATE, &numerator, &denominator);
  type->GetGUID(MF_MT_SUBTYPE, &subtype);
  LogCall(who, "%s %.4s %ux%u@%u/%u %u bit/s profile %u -> 0x%08lX", call,
          reinterpret_cast<const char*>(&subtype.Data1), width, height, numerator, denominator,
          MFGetAttributeUINT32(type, MF_MT_AVG_BITRATE, 0),
          MFGetAttributeUINT32(type, MF_MT_MPEG2_PROFILE, 0), Bits(hr));
}

}  // namespace

long LiveTransforms() { return liveTransforms.load(); }

EncoderTransform::EncoderTransform(const char* ownName, const FaultFile& ownFaults)
    : name(ownName), faults(ownFaults), controls(*this, ownName) {
  ++liveTransforms;
  providesSamples = faults.Look().providesSamples;
  // Without a store GetAttributes fails, which its callers expect of some transforms.
  MFCreateAttributes(&attributes, 4);
  LogCall(name, "made");
}

EncoderTransform::~EncoderTransform() {
  LogCall(name, "gone");
  --liveTransforms;
}

IUnknown* EncoderTransform::Find(REFIID iid) {
  if (IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IMFTransform)) {
    return static_cast<IMFTransform*>(this);
  }
  if (IsEqualGUID(iid, IID_ICodecAPI)) {
    const std::lock_guard guard(lock);
    return faults.Look().noCodecApi ? nullptr : &controls;
  }
  return Interface(iid);
}

STDMETHODIMP EncoderTransform::QueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  IUnknown* found = Find(iid);
  *object = found;
  const HRESULT hr = found ? S_OK : E_NOINTERFACE;
  LogQuery(iid, hr);
  if (found) found->AddRef();
  return hr;
}

// Of the interfaces only those that a client may find missing, with the attributes set by then.
void EncoderTransform::LogQuery(REFIID iid, HRESULT hr) const {
  const bool events = IsEqualGUID(iid, __uuidof(IMFMediaEventGenerator));
  if (!events && !IsEqualGUID(iid, IID_ICodecAPI)) return;
  const auto number = [this](REFGUID key) {
    return attributes ? MFGetAttributeUINT32(attributes.Get(), key, 0) : 0;
  };
  LogCall(name, "QueryInterface %s, ASYNC_UNLOCK %u, LOW_LATENCY %u -> 0x%08lX",
          events ? "IMFMediaEventGenerator" : "ICodecAPI", number(MF_TRANSFORM_ASYNC_UNLOCK),
          number(MF_LOW_LATENCY), Bits(hr));
}

STDMETHODIMP_(ULONG) EncoderTransform::AddRef() { return ++references; }

STDMETHODIMP_(ULONG) EncoderTransform::Release() {
  const ULONG left = --references;
  if (left == 0) delete this;
  return left;
}

STDMETHODIMP EncoderTransform::GetStreamLimits(DWORD* inputMinimum, DWORD* inputMaximum,
                                               DWORD* outputMinimum, DWORD* outputMaximum) {
  if (!inputMinimum || !inputMaximum || !outputMinimum || !outputMaximum) return E_POINTER;
  *inputMinimum = *inputMaximum = *outputMinimum = *outputMaximum = 1;
  return S_OK;
}

STDMETHODIMP EncoderTransform::GetStreamCount(DWORD* inputs, DWORD* outputs) {
  if (!inputs || !outputs) return E_POINTER;
  *inputs = *outputs = 1;
  return S_OK;
}

// Fixed streams, numbered from zero.
STDMETHODIMP EncoderTransform::GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) {
  LogCall(name, "GetStreamIDs -> 0x%08lX", Bits(E_NOTIMPL));
  return E_NOTIMPL;
}

STDMETHODIMP EncoderTransform::GetInputStreamInfo(DWORD stream, MFT_INPUT_STREAM_INFO* info) {
  if (!info) return E_POINTER;
  const std::lock_guard guard(lock);
  if (const HRESULT hr = Usable(); FAILED(hr)) return hr;
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  *info = {};
  info->dwFlags = MFT_INPUT_STREAM_WHOLE_SAMPLES | MFT_INPUT_STREAM_SINGLE_SAMPLE_PER_BUFFER |
                  MFT_INPUT_STREAM_FIXED_SAMPLE_SIZE;
  info->cbSize = format.HasOutput() ? format.PictureBytes() : 0;
  return S_OK;
}

STDMETHODIMP EncoderTransform::GetOutputStreamInfo(DWORD stream, MFT_OUTPUT_STREAM_INFO* info) {
  if (!info) return E_POINTER;
  const std::lock_guard guard(lock);
  if (const HRESULT hr = Usable(); FAILED(hr)) return hr;
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  if (!format.HasOutput()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  *info = {};
  info->dwFlags = MFT_OUTPUT_STREAM_WHOLE_SAMPLES | MFT_OUTPUT_STREAM_SINGLE_SAMPLE_PER_BUFFER;
  if (providesSamples) info->dwFlags |= MFT_OUTPUT_STREAM_PROVIDES_SAMPLES;
  info->cbSize = format.LargestUnitBytes();
  LogCall(name, "GetOutputStreamInfo flags 0x%lX", info->dwFlags);
  return S_OK;
}

STDMETHODIMP EncoderTransform::GetAttributes(IMFAttributes** store) {
  if (!store) return E_POINTER;
  LogCall(name, "GetAttributes");
  if (!attributes) return E_NOTIMPL;
  attributes.CopyTo(store);  // cannot fail: it only adds a reference
  return S_OK;
}

STDMETHODIMP EncoderTransform::GetInputStreamAttributes(DWORD, IMFAttributes**) {
  return E_NOTIMPL;
}

STDMETHODIMP EncoderTransform::GetOutputStreamAttributes(DWORD, IMFAttributes**) {
  return E_NOTIMPL;
}

STDMETHODIMP EncoderTransform::DeleteInputStream(DWORD) { return E_NOTIMPL; }

STDMETHODIMP EncoderTransform::AddInputStreams(DWORD, DWORD*) { return E_NOTIMPL; }

STDMETHODIMP EncoderTransform::GetInputAvailableType(DWORD stream, DWORD index,
                                                     IMFMediaType** type) {
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  const std::lock_guard guard(lock);
  return format.AvailableInput(index, type);
}

STDMETHODIMP EncoderTransform::GetOutputAvailableType(DWORD stream, DWORD index,
                                                      IMFMediaType** type) {
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  const std::lock_guard guard(lock);
  return format.AvailableOutput(index, type);
}

STDMETHODIMP EncoderTransform::SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) {
  const std::lock_guard guard(lock);
  HRESULT hr = Usable();
  if (SUCCEEDED(hr) && stream != 0) hr = MF_E_INVALIDSTREAMNUMBER;
  if (SUCCEEDED(hr)) hr = format.SetInput(type, flags);
  LogType(name, "SetInputType", type, hr);
  if (SUCCEEDED(hr) && !(flags & MFT_SET_TYPE_TEST_ONLY)) TypesChanged();
  return hr;
}

STDMETHODIMP EncoderTransform::SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) {
  const std::lock_guard guard(lock);
  HRESULT hr = Usable();
  if (SUCCEEDED(hr) && stream != 0) hr = MF_E_INVALIDSTREAMNUMBER;
  if (SUCCEEDED(hr) && type && faults.Look().refusesOutputType) hr = MF_E_INVALIDMEDIATYPE;
  if (SUCCEEDED(hr)) hr = format.SetOutput(type, flags);
  LogType(name, "SetOutputType", type, hr);
  if (FAILED(hr) || (flags & MFT_SET_TYPE_TEST_ONLY)) return hr;
  if (type) controls.SetBitsPerSecond(format.BitsPerSecond());
  typeIsStale = false;
  TypesChanged();
  return hr;
}

STDMETHODIMP EncoderTransform::GetInputCurrentType(DWORD stream, IMFMediaType** type) {
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  const std::lock_guard guard(lock);
  return format.CurrentInput(type);
}

STDMETHODIMP EncoderTransform::GetOutputCurrentType(DWORD stream, IMFMediaType** type) {
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  const std::lock_guard guard(lock);
  return format.CurrentOutput(type);
}

STDMETHODIMP EncoderTransform::SetOutputBounds(LONGLONG, LONGLONG) { return E_NOTIMPL; }

STDMETHODIMP EncoderTransform::ProcessEvent(DWORD, IMFMediaEvent*) { return E_NOTIMPL; }

HRESULT EncoderTransform::OpenCore(EncoderCore& core) const {
  if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  if (core.IsOpen()) return S_OK;
  EncoderShape shape = {};
  shape.width = static_cast<int32_t>(format.Width());
  shape.height = static_cast<int32_t>(format.Height());
  shape.frameRateNumerator = static_cast<int32_t>(format.RateNumerator());
  shape.frameRateDenominator = static_cast<int32_t>(format.RateDenominator());
  shape.bitsPerSecond = static_cast<int32_t>(controls.BitsPerSecond());
  shape.keyFrameInterval = static_cast<int32_t>(controls.KeyFrameInterval());
  shape.largestUnitBytes = static_cast<int32_t>(format.LargestUnitBytes());
  return core.Open(shape);
}

const char* MessageName(MFT_MESSAGE_TYPE message) {
  switch (message) {
    case MFT_MESSAGE_COMMAND_FLUSH:
      return "COMMAND_FLUSH";
    case MFT_MESSAGE_COMMAND_DRAIN:
      return "COMMAND_DRAIN";
    case MFT_MESSAGE_SET_D3D_MANAGER:
      return "SET_D3D_MANAGER";
    case MFT_MESSAGE_NOTIFY_BEGIN_STREAMING:
      return "NOTIFY_BEGIN_STREAMING";
    case MFT_MESSAGE_NOTIFY_END_STREAMING:
      return "NOTIFY_END_STREAMING";
    case MFT_MESSAGE_NOTIFY_END_OF_STREAM:
      return "NOTIFY_END_OF_STREAM";
    case MFT_MESSAGE_NOTIFY_START_OF_STREAM:
      return "NOTIFY_START_OF_STREAM";
    default:
      return "other";
  }
}

}  // namespace talu
