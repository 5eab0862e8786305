#include "devkit/wine/codec/codec_controls.h"

#include <codecapi.h>

#include "devkit/wine/codec/call_log.h"

namespace talu {
namespace {

constexpr uint32_t kSmallestBitsPerSecond = 1'000;
constexpr uint32_t kLargestBitsPerSecond = 240'000'000;
constexpr uint32_t kLongestKeyFrameInterval = 0x7fffffff;
constexpr uint32_t kConstantBitRate = eAVEncCommonRateControlMode_CBR;

constexpr GUID kRateControlMode = {STATIC_CODECAPI_AVEncCommonRateControlMode};
constexpr GUID kMeanBitRate = {STATIC_CODECAPI_AVEncCommonMeanBitRate};
constexpr GUID kBetweenPictures = {STATIC_CODECAPI_AVEncMPVDefaultBPictureCount};
constexpr GUID kLowLatency = {STATIC_CODECAPI_AVEncCommonLowLatency};
constexpr GUID kLowLatencyMode = {STATIC_CODECAPI_AVLowLatencyMode};
constexpr GUID kKeyFrameInterval = {STATIC_CODECAPI_AVEncMPVGOPSize};
constexpr GUID kForceKeyFrame = {STATIC_CODECAPI_AVEncVideoForceKeyFrame};

struct Property {
  GUID id;
  const char* name;
  VARTYPE type;
  bool modifiable;  // also while pictures are encoded
  uint32_t least;
  uint32_t most;
};

constexpr Property kProperties[] = {
    {kRateControlMode, "AVEncCommonRateControlMode", VT_UI4, false, kConstantBitRate,
     kConstantBitRate},
    {kMeanBitRate, "AVEncCommonMeanBitRate", VT_UI4, true, kSmallestBitsPerSecond,
     kLargestBitsPerSecond},
    {kBetweenPictures, "AVEncMPVDefaultBPictureCount", VT_UI4, false, 0, 0},
    {kLowLatency, "AVEncCommonLowLatency", VT_BOOL, false, 0, 1},
    {kLowLatencyMode, "AVLowLatencyMode", VT_BOOL, false, 0, 1},
    {kKeyFrameInterval, "AVEncMPVGOPSize", VT_UI4, true, 0, kLongestKeyFrameInterval},
    {kForceKeyFrame, "AVEncVideoForceKeyFrame", VT_UI4, true, 0, 1},
};

const Property* Find(const GUID& id) {
  for (const Property& property : kProperties) {
    if (IsEqualGUID(property.id, id)) return &property;
  }
  return nullptr;
}

void Put(VARIANT& value, VARTYPE type, uint32_t number) {
  VariantInit(&value);
  V_VT(&value) = type;
  if (type == VT_BOOL) {
    V_BOOL(&value) = number ? VARIANT_TRUE : VARIANT_FALSE;
  } else {
    V_UI4(&value) = number;
  }
}

uint32_t NumberIn(const VARIANT& value) {
  return V_VT(&value) == VT_BOOL ? V_BOOL(&value) != VARIANT_FALSE : V_UI4(&value);
}

}  // namespace

STDMETHODIMP CodecControls::QueryInterface(REFIID iid, void** object) {
  return owner.QueryInterface(iid, object);
}

STDMETHODIMP_(ULONG) CodecControls::AddRef() { return owner.AddRef(); }

STDMETHODIMP_(ULONG) CodecControls::Release() { return owner.Release(); }

STDMETHODIMP CodecControls::IsSupported(const GUID* api) {
  if (!api) return E_POINTER;
  return Find(*api) ? S_OK : E_NOTIMPL;
}

STDMETHODIMP CodecControls::IsModifiable(const GUID* api) {
  if (!api) return E_POINTER;
  const Property* property = Find(*api);
  if (!property) return E_NOTIMPL;
  return property->modifiable ? S_OK : S_FALSE;
}

STDMETHODIMP CodecControls::GetParameterRange(const GUID* api, VARIANT* least, VARIANT* most,
                                              VARIANT* step) {
  if (!api || !least || !most || !step) return E_POINTER;
  const Property* property = Find(*api);
  if (!property || property->type != VT_UI4) return E_NOTIMPL;
  Put(*least, VT_UI4, property->least);
  Put(*most, VT_UI4, property->most);
  Put(*step, VT_UI4, 1);
  return S_OK;
}

STDMETHODIMP CodecControls::GetParameterValues(const GUID*, VARIANT**, ULONG*) { return E_NOTIMPL; }

STDMETHODIMP CodecControls::GetDefaultValue(const GUID*, VARIANT*) { return E_NOTIMPL; }

STDMETHODIMP CodecControls::GetValue(const GUID* api, VARIANT* value) {
  if (!api || !value) return E_POINTER;
  const Property* property = Find(*api);
  if (!property) return E_NOTIMPL;
  uint32_t number = 0;
  if (IsEqualGUID(*api, kMeanBitRate)) number = bitsPerSecond.load();
  if (IsEqualGUID(*api, kKeyFrameInterval)) number = keyFrameInterval.load();
  if (property->type == VT_BOOL) number = 1;
  Put(*value, property->type, number);
  return S_OK;
}

HRESULT CodecControls::Take(const GUID& api, const VARIANT& value) {
  const Property* property = Find(api);
  if (!property) return E_NOTIMPL;
  if (V_VT(&value) != property->type) return E_INVALIDARG;
  const uint32_t number = NumberIn(value);
  if (number < property->least || number > property->most) return E_INVALIDARG;
  if (IsEqualGUID(api, kMeanBitRate)) bitsPerSecond.store(number);
  if (IsEqualGUID(api, kKeyFrameInterval)) keyFrameInterval.store(number);
  if (IsEqualGUID(api, kForceKeyFrame) && number) keyFrameForced.store(true);
  return S_OK;
}

STDMETHODIMP CodecControls::SetValue(const GUID* api, VARIANT* value) {
  if (!api || !value) return E_POINTER;
  const HRESULT hr = Take(*api, *value);
  const Property* property = Find(*api);
  LogCall(name, "SetValue %s %lu -> 0x%08lX", property ? property->name : "unknown",
          static_cast<unsigned long>(NumberIn(*value)), static_cast<unsigned long>(hr));
  return hr;
}

STDMETHODIMP CodecControls::RegisterForEvent(const GUID*, LONG_PTR) { return E_NOTIMPL; }

STDMETHODIMP CodecControls::UnregisterForEvent(const GUID*) { return E_NOTIMPL; }

STDMETHODIMP CodecControls::SetAllDefaults() { return E_NOTIMPL; }

STDMETHODIMP CodecControls::SetValueWithNotify(const GUID*, VARIANT*, GUID**, ULONG*) {
  return E_NOTIMPL;
}

STDMETHODIMP CodecControls::SetAllDefaultsWithNotify(GUID**, ULONG*) { return E_NOTIMPL; }

STDMETHODIMP CodecControls::GetAllSettings(IStream*) { return E_NOTIMPL; }

STDMETHODIMP CodecControls::SetAllSettings(IStream*) { return E_NOTIMPL; }

STDMETHODIMP CodecControls::SetAllSettingsWithNotify(IStream*, GUID**, ULONG*) { return E_NOTIMPL; }

}  // namespace talu
