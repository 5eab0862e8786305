#include "encoder/fakes/fake_media_win.h"

#include <mfapi.h>
#include <mferror.h>

#include <algorithm>

namespace talu {
namespace {

struct NamedGuid {
  const GUID& id;
  const char* name;
};

std::string NameOf(REFGUID id) {
  static const NamedGuid names[] = {
      {MF_MT_MAJOR_TYPE, "MAJOR_TYPE"},
      {MF_MT_SUBTYPE, "SUBTYPE"},
      {MF_MT_AVG_BITRATE, "AVG_BITRATE"},
      {MF_MT_FRAME_SIZE, "FRAME_SIZE"},
      {MF_MT_FRAME_RATE, "FRAME_RATE"},
      {MF_MT_PIXEL_ASPECT_RATIO, "PIXEL_ASPECT_RATIO"},
      {MF_MT_INTERLACE_MODE, "INTERLACE_MODE"},
      {MF_MT_MPEG2_PROFILE, "MPEG2_PROFILE"},
      {MFMediaType_Video, "Video"},
      {MFVideoFormat_NV12, "NV12"},
      {MFVideoFormat_H264, "H264"},
      {MF_TRANSFORM_ASYNC_UNLOCK, "ASYNC_UNLOCK"},
      {MF_LOW_LATENCY, "LOW_LATENCY"},
      {MFSampleExtension_CleanPoint, "CLEAN_POINT"},
  };
  for (const NamedGuid& named : names) {
    if (IsEqualGUID(named.id, id)) {
      return named.name;
    }
  }
  return "unknown";
}

// Numbers above 32 bits are pairs.
std::string Describe(uint64_t number) {
  const std::string low = std::to_string(static_cast<uint32_t>(number));
  return number >> 32 == 0 ? low : std::to_string(number >> 32) + "x" + low;
}

}  // namespace

std::vector<std::string> AttributeValues::Described() const {
  std::vector<std::string> texts;
  for (const GUID& key : order) {
    const auto number = numbers.find(key);
    texts.push_back(NameOf(key) + " " +
                    (number != numbers.end() ? Describe(number->second) : NameOf(guids.at(key))));
  }
  return texts;
}

HRESULT AttributeValues::SetNumber(REFGUID key, uint64_t value) {
  numbers[key] = value;
  order.push_back(key);
  return S_OK;
}

HRESULT AttributeValues::Set(REFGUID key, REFGUID value) {
  guids[key] = value;
  order.push_back(key);
  return S_OK;
}

HRESULT AttributeValues::Number(REFGUID key, uint64_t& value) const {
  const auto found = numbers.find(key);
  if (found == numbers.end()) {
    return MF_E_ATTRIBUTENOTFOUND;
  }
  value = found->second;
  return S_OK;
}

HRESULT AttributeValues::Get(REFGUID key, GUID& value) const {
  const auto found = guids.find(key);
  if (found == guids.end()) {
    return MF_E_ATTRIBUTENOTFOUND;
  }
  value = found->second;
  return S_OK;
}

HRESULT AttributeStore::SetUINT32(REFGUID key, UINT32 value) {
  return script.Called(prefix + "SetAttribute", NameOf(key) + " " + std::to_string(value));
}

HRESULT FakeBufferBase::Lock(BYTE** data, DWORD* capacity, DWORD* length) {
  if (const HRESULT result = script.Called("Buffer.Lock"); FAILED(result)) {
    return result;
  }
  ++locks;
  *data = bytes.data();
  if (capacity != nullptr) *capacity = static_cast<DWORD>(bytes.size());
  if (length != nullptr) *length = currentLength;
  return S_OK;
}

HRESULT FakeBufferBase::Unlock() {
  --locks;
  return script.Called("Buffer.Unlock");
}

HRESULT FakeBufferBase::GetCurrentLength(DWORD* out) {
  *out = currentLength;
  return S_OK;
}

HRESULT FakeBufferBase::SetCurrentLength(DWORD length) {
  const HRESULT result = script.Called("Buffer.SetCurrentLength");
  if (FAILED(result)) {
    return result;
  }
  if (length > bytes.size()) {
    return E_INVALIDARG;
  }
  currentLength = length;
  return S_OK;
}

HRESULT FakeBufferBase::GetMaxLength(DWORD* out) {
  *out = static_cast<DWORD>(bytes.size());
  return S_OK;
}

FakeSampleBase::~FakeSampleBase() {
  if (buffer != nullptr) {
    buffer->Release();
  }
}

HRESULT FakeSampleBase::AddBuffer(IMFMediaBuffer* added) {
  const HRESULT result = script.Called("Sample.AddBuffer");
  if (FAILED(result)) {
    return result;
  }
  buffer = static_cast<FakeBufferBase*>(added);
  buffer->AddRef();
  return S_OK;
}

HRESULT FakeSampleBase::ConvertToContiguousBuffer(IMFMediaBuffer** out) {
  const HRESULT result = script.Called("Sample.ConvertToContiguousBuffer");
  if (FAILED(result)) {
    return result;
  }
  if (buffer == nullptr) {
    return E_UNEXPECTED;
  }
  buffer->AddRef();
  *out = buffer;
  return S_OK;
}

HRESULT FakeSampleBase::SetSampleTime(LONGLONG value) {
  const HRESULT result = script.Called("Sample.SetSampleTime");
  if (SUCCEEDED(result)) {
    hasTime = true;
    time = value;
  }
  return result;
}

HRESULT FakeSampleBase::GetSampleTime(LONGLONG* value) {
  if (!hasTime) {
    return MF_E_NO_SAMPLE_TIMESTAMP;
  }
  *value = time;
  return S_OK;
}

HRESULT FakeSampleBase::SetSampleDuration(LONGLONG value) {
  const HRESULT result = script.Called("Sample.SetSampleDuration");
  if (SUCCEEDED(result)) {
    duration = value;
  }
  return result;
}

HRESULT FakeSampleBase::GetSampleDuration(LONGLONG* value) {
  *value = duration;
  return S_OK;
}

}  // namespace talu
