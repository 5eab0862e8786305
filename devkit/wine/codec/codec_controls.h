// ICodecAPI of an encoder transform: bit rate, key-frame interval, forced key frames.
//
// A part of the transform: its references are the transform's own. SetValue may come from any
// thread while another one encodes; the encoding thread looks at the values before each picture.
#pragma once

#include <windows.h>
// ICodecAPI's header needs it before it.
#include <strmif.h>

#include <atomic>
#include <cstdint>

namespace talu {

class CodecControls final : public ICodecAPI {
 public:
  // `transform` holds this object; `transformName` is its name in the call log.
  CodecControls(IUnknown& transform, const char* transformName)
      : owner(transform), name(transformName) {}

  uint32_t BitsPerSecond() const { return bitsPerSecond.load(); }
  void SetBitsPerSecond(uint32_t bits) { bitsPerSecond.store(bits); }
  // Pictures; 0 leaves the choice to the encoder.
  uint32_t KeyFrameInterval() const { return keyFrameInterval.load(); }
  bool KeyFrameForced() const { return keyFrameForced.load(); }
  // True once for each demand, or for several demands that came before it.
  bool TakeForcedKeyFrame() { return keyFrameForced.exchange(false); }

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP IsSupported(const GUID* api) override;
  STDMETHODIMP IsModifiable(const GUID* api) override;
  STDMETHODIMP GetParameterRange(const GUID* api, VARIANT* least, VARIANT* most,
                                 VARIANT* step) override;
  STDMETHODIMP GetParameterValues(const GUID* api, VARIANT** values, ULONG* count) override;
  STDMETHODIMP GetDefaultValue(const GUID* api, VARIANT* value) override;
  STDMETHODIMP GetValue(const GUID* api, VARIANT* value) override;
  STDMETHODIMP SetValue(const GUID* api, VARIANT* value) override;
  STDMETHODIMP RegisterForEvent(const GUID* api, LONG_PTR userData) override;
  STDMETHODIMP UnregisterForEvent(const GUID* api) override;
  STDMETHODIMP SetAllDefaults() override;
  STDMETHODIMP SetValueWithNotify(const GUID* api, VARIANT* value, GUID** changed,
                                  ULONG* count) override;
  STDMETHODIMP SetAllDefaultsWithNotify(GUID** changed, ULONG* count) override;
  STDMETHODIMP GetAllSettings(IStream* stream) override;
  STDMETHODIMP SetAllSettings(IStream* stream) override;
  STDMETHODIMP SetAllSettingsWithNotify(IStream* stream, GUID** changed, ULONG* count) override;

 private:
  HRESULT Take(const GUID& api, const VARIANT& value);

  IUnknown& owner;
  const char* name;
  std::atomic<uint32_t> bitsPerSecond = 0;
  // Where nobody sets it, a key frame now and then, as graphics cards' encoders have it.
  std::atomic<uint32_t> keyFrameInterval = 60;
  std::atomic<bool> keyFrameForced = false;
};

}  // namespace talu
