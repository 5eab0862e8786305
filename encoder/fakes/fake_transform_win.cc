#include "encoder/fakes/fake_transform_win.h"

#include <codecapi.h>
#include <mfapi.h>
#include <mferror.h>

namespace talu {
namespace {

std::string MessageName(MFT_MESSAGE_TYPE message) {
  switch (message) {
    case MFT_MESSAGE_COMMAND_FLUSH:
      return "FLUSH";
    case MFT_MESSAGE_SET_D3D_MANAGER:
      return "SET_D3D_MANAGER";
    case MFT_MESSAGE_NOTIFY_BEGIN_STREAMING:
      return "BEGIN_STREAMING";
    case MFT_MESSAGE_NOTIFY_END_STREAMING:
      return "END_STREAMING";
    case MFT_MESSAGE_NOTIFY_END_OF_STREAM:
      return "END_OF_STREAM";
    case MFT_MESSAGE_NOTIFY_START_OF_STREAM:
      return "START_OF_STREAM";
    default:
      return std::to_string(message);
  }
}

std::string PropertyName(const GUID& property) {
  if (IsEqualGUID(property, CODECAPI_AVEncCommonRateControlMode)) return "RateControlMode";
  if (IsEqualGUID(property, CODECAPI_AVEncCommonMeanBitRate)) return "MeanBitRate";
  if (IsEqualGUID(property, CODECAPI_AVEncMPVDefaultBPictureCount)) return "BPictureCount";
  if (IsEqualGUID(property, CODECAPI_AVEncCommonLowLatency)) return "LowLatency";
  if (IsEqualGUID(property, CODECAPI_AVEncMPVGOPSize)) return "GOPSize";
  if (IsEqualGUID(property, CODECAPI_AVEncVideoForceKeyFrame)) return "ForceKeyFrame";
  return "unknown";
}

std::string ValueText(const VARIANT& value) {
  if (value.vt == VT_UI4) return "UI4 " + std::to_string(value.ulVal);
  if (value.vt == VT_BOOL) return value.boolVal == VARIANT_TRUE ? "BOOL TRUE" : "BOOL other";
  return "type " + std::to_string(value.vt);
}

std::vector<std::string> DescribeType(IMFMediaType* type) {
  return static_cast<FakeMediaTypeBase*>(type)->values.Described();
}

}  // namespace

ScriptedTransform::ScriptedTransform(CallScript& calls, TransformScript& does)
    : script(calls), scripted(does) {
  ++scripted.created;
  scripted.outputs.clear();
  scripted.events.clear();
  scripted.requestDue = false;
  scripted.lookedInVain = false;
}

HRESULT ScriptedTransform::Note(const std::string& call, const std::string& details) {
  return script.Called(scripted.name + "." + call, details);
}

void* ScriptedTransform::Find(REFIID id) {
  if (IsEqualGUID(id, IID_IUnknown) || IsEqualGUID(id, __uuidof(IMFTransform))) {
    return static_cast<IMFTransform*>(this);
  }
  if (IsEqualGUID(id, __uuidof(IMFMediaEventGenerator))) {
    return SUCCEEDED(Note("Query", "EventGenerator")) && scripted.async
               ? static_cast<IMFMediaEventGenerator*>(this)
               : nullptr;
  }
  if (IsEqualGUID(id, IID_ICodecAPI)) {
    return SUCCEEDED(Note("Query", "CodecApi")) && scripted.hasCodecApi
               ? static_cast<ICodecAPI*>(this)
               : nullptr;
  }
  return nullptr;
}

HRESULT ScriptedTransform::GetAttributes(IMFAttributes** out) {
  const HRESULT result = Note("GetAttributes");
  if (FAILED(result)) {
    return result;
  }
  if (!scripted.hasAttributes) {
    return E_NOTIMPL;
  }
  *out = new FakeAttributes(script, scripted.name + ".");
  return S_OK;
}

HRESULT ScriptedTransform::GetStreamIDs(DWORD inputCount, DWORD* inputs, DWORD outputCount,
                                        DWORD* outputs) {
  const HRESULT result =
      Note("GetStreamIDs", std::to_string(inputCount) + " " + std::to_string(outputCount));
  if (FAILED(result)) {
    return result;
  }
  if (!scripted.streamIds) {
    *inputs = 77;  // Left-overs that nobody may take for numbers.
    *outputs = 78;
    return E_NOTIMPL;
  }
  *inputs = scripted.streamIds->first;
  *outputs = scripted.streamIds->second;
  return S_OK;
}

HRESULT ScriptedTransform::GetOutputStreamInfo(DWORD stream, MFT_OUTPUT_STREAM_INFO* info) {
  const HRESULT result = Note("GetOutputStreamInfo", std::to_string(stream));
  info->dwFlags = scripted.outputFlags;
  info->cbSize = scripted.outputBytes;
  return result;
}

HRESULT ScriptedTransform::GetOutputAvailableType(DWORD stream, DWORD index, IMFMediaType** type) {
  const HRESULT result =
      Note("GetOutputAvailableType", std::to_string(stream) + " " + std::to_string(index));
  if (FAILED(result)) {
    return result;
  }
  if (index >= scripted.offered.size()) {
    return MF_E_NO_MORE_TYPES;
  }
  auto* offer = new FakeMediaType;
  offer->SetGUID(MF_MT_SUBTYPE, scripted.offered[index]);
  *type = offer;
  return S_OK;
}

HRESULT ScriptedTransform::SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) {
  const HRESULT result = Note("SetInputType", std::to_string(stream) + " " + std::to_string(flags));
  if (SUCCEEDED(result)) {
    scripted.inputType = DescribeType(type);
  }
  return result;
}

HRESULT ScriptedTransform::SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) {
  const HRESULT result =
      Note("SetOutputType", std::to_string(stream) + " " + std::to_string(flags));
  if (SUCCEEDED(result)) {
    scripted.outputType = DescribeType(type);
    scripted.wantsRetype = scripted.wantsRetype && scripted.inputs.empty();
  }
  return result;
}

HRESULT ScriptedTransform::GetOutputStatus(DWORD* status) {
  const HRESULT result = Note("GetOutputStatus");
  if (FAILED(result)) {
    return result;
  }
  if (!scripted.tellsOutputStatus) {
    return E_NOTIMPL;
  }
  *status = scripted.outputs.empty() ? 0 : MFT_OUTPUT_STATUS_SAMPLE_READY;
  return S_OK;
}

HRESULT ScriptedTransform::ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) {
  const HRESULT result =
      Note("ProcessMessage", MessageName(message) + (parameter == 0 ? " 0" : " object"));
  if (SUCCEEDED(result) && message == MFT_MESSAGE_NOTIFY_START_OF_STREAM && scripted.async &&
      scripted.asksFirst) {
    scripted.events.push_back(METransformNeedInput);
  }
  return result;
}

HRESULT ScriptedTransform::ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) {
  const HRESULT result = Note("ProcessInput", std::to_string(stream) + " " + std::to_string(flags));
  if (FAILED(result)) {
    return result;
  }
  auto& picture = *static_cast<FakeSampleBase*>(sample);
  if (picture.buffer == nullptr) {
    return E_INVALIDARG;
  }
  std::vector<uint8_t> bytes = picture.buffer->bytes;
  bytes.resize(picture.buffer->currentLength);
  scripted.inputs.push_back({picture.time, picture.duration, bytes});
  if (scripted.encodes) {
    const auto number = static_cast<uint8_t>(scripted.inputs.size());
    scripted.outputs.push_back({{number}, number == 1 ? 1u : 0u, picture.time});
    if (scripted.async) {
      scripted.events.push_back(METransformHaveOutput);
    }
  }
  scripted.requestDue = scripted.async && scripted.asksAgain;
  scripted.lookedInVain = false;
  return S_OK;
}

HRESULT ScriptedTransform::ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* record,
                                         DWORD* status) {
  const HRESULT result =
      Note("ProcessOutput", std::to_string(record->dwStreamID) + " " + std::to_string(flags) + " " +
                                std::to_string(count));
  *status = 0;
  if (scripted.bringsExtras) {
    record->pEvents = new FakeCollection;
  }
  if (FAILED(result)) {
    if (scripted.bringsExtras && record->pSample == nullptr) {
      record->pSample = new FakeSample(script);
    }
    return result;
  }
  if (scripted.wantsRetype) {
    return MF_E_TRANSFORM_STREAM_CHANGE;
  }
  if (scripted.outputs.empty()) {
    return MF_E_TRANSFORM_NEED_MORE_INPUT;
  }
  const ScriptedOutput output = scripted.outputs.front();
  scripted.outputs.pop_front();
  auto* sample = static_cast<FakeSampleBase*>(record->pSample);
  if (sample == nullptr) {
    sample = new FakeSample(script);
    sample->buffer = new FakeBuffer(script, output.bytes.size());
    record->pSample = sample;
  }
  scripted.outputBufferSizes.push_back(static_cast<uint32_t>(sample->buffer->bytes.size()));
  if (output.bytes.size() > sample->buffer->bytes.size()) {
    return MF_E_BUFFERTOOSMALL;
  }
  std::copy(output.bytes.begin(), output.bytes.end(), sample->buffer->bytes.begin());
  sample->buffer->currentLength = static_cast<DWORD>(output.bytes.size());
  if (output.cleanPoint) sample->values.SetNumber(MFSampleExtension_CleanPoint, *output.cleanPoint);
  if (output.time) {
    sample->hasTime = true;
    sample->time = *output.time;
  }
  return S_OK;
}

HRESULT ScriptedTransform::GetEvent(DWORD flags, IMFMediaEvent** event) {
  if (flags != MF_EVENT_FLAG_NO_WAIT) {
    Note("GetEvent", "waiting");
    return E_INVALIDARG;
  }
  if (const HRESULT result = Note("GetEvent"); FAILED(result)) {
    return result;
  }
  if (scripted.events.empty() && scripted.requestDue && scripted.lookedInVain) {
    scripted.requestDue = false;
    scripted.events.push_back(METransformNeedInput);
  }
  if (scripted.events.empty()) {
    scripted.lookedInVain = true;
    return MF_E_NO_EVENTS_AVAILABLE;
  }
  *event = new FakeMediaEvent(scripted.events.front());
  scripted.events.pop_front();
  return S_OK;
}

HRESULT ScriptedTransform::SetValue(const GUID* property, VARIANT* value) {
  return Note("SetValue", PropertyName(*property) + " " + ValueText(*value));
}

ULONG FakeTransform::Release() {
  const ULONG left = --references;
  if (left == 0) {
    delete this;
  }
  return left;
}

HRESULT FakeTransform::QueryInterface(REFIID id, void** object) {
  *object = Find(id);
  if (*object == nullptr) {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

HRESULT ScriptedActivation::ActivateObject(REFIID id, void** object) {
  const HRESULT result = script.Called(scripted.name + ".Activate");
  if (FAILED(result)) {
    return result;
  }
  if (!IsEqualGUID(id, __uuidof(IMFTransform))) {
    return E_NOINTERFACE;
  }
  *object = static_cast<IMFTransform*>(new FakeTransform(script, scripted));
  return S_OK;
}

}  // namespace talu
