// What both encoder transforms have in common: identity, streams, attributes, types and controls.
//
// A COM object; any thread may call it. The transforms add how pictures go in and units come out.
#pragma once

#include <windows.h>
// The media headers need it before them.
#include <mfidl.h>
#include <mftransform.h>
#include <wrl/client.h>

#include <atomic>
#include <mutex>

#include "devkit/wine/codec/codec_controls.h"
#include "devkit/wine/codec/encoder_core.h"
#include "devkit/wine/codec/fault_file.h"
#include "devkit/wine/codec/stream_format.h"

namespace talu {

// Objects of this library that somebody still holds.
long LiveTransforms();

class EncoderTransform : public IMFTransform {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP GetStreamLimits(DWORD* inputMinimum, DWORD* inputMaximum, DWORD* outputMinimum,
                               DWORD* outputMaximum) override;
  STDMETHODIMP GetStreamCount(DWORD* inputs, DWORD* outputs) override;
  STDMETHODIMP GetStreamIDs(DWORD inputSize, DWORD* inputs, DWORD outputSize,
                            DWORD* outputs) override;
  STDMETHODIMP GetInputStreamInfo(DWORD stream, MFT_INPUT_STREAM_INFO* info) override;
  STDMETHODIMP GetOutputStreamInfo(DWORD stream, MFT_OUTPUT_STREAM_INFO* info) override;
  STDMETHODIMP GetAttributes(IMFAttributes** store) override;
  STDMETHODIMP GetInputStreamAttributes(DWORD stream, IMFAttributes** store) override;
  STDMETHODIMP GetOutputStreamAttributes(DWORD stream, IMFAttributes** store) override;
  STDMETHODIMP DeleteInputStream(DWORD stream) override;
  STDMETHODIMP AddInputStreams(DWORD count, DWORD* streams) override;
  STDMETHODIMP GetInputAvailableType(DWORD stream, DWORD index, IMFMediaType** type) override;
  STDMETHODIMP GetOutputAvailableType(DWORD stream, DWORD index, IMFMediaType** type) override;
  STDMETHODIMP SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
  STDMETHODIMP SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
  STDMETHODIMP GetInputCurrentType(DWORD stream, IMFMediaType** type) override;
  STDMETHODIMP GetOutputCurrentType(DWORD stream, IMFMediaType** type) override;
  STDMETHODIMP SetOutputBounds(LONGLONG lower, LONGLONG upper) override;
  STDMETHODIMP ProcessEvent(DWORD stream, IMFMediaEvent* event) override;

 protected:
  EncoderTransform(const char* ownName, const FaultFile& ownFaults);
  virtual ~EncoderTransform();

  // Further interfaces of the transform; null when it has not this one. Adds no reference.
  virtual IUnknown* Interface(REFIID iid) = 0;
  // S_OK when streaming calls are allowed now. Called with the lock held.
  virtual HRESULT Usable() = 0;
  // The types have changed. Called with the lock held.
  virtual void TypesChanged() = 0;

  // Opens the encoder for the types and controls in force, if it is not open. Lock held.
  HRESULT OpenCore(EncoderCore& core) const;

  const char* const name;
  std::mutex lock;  // guards everything below but the controls, which guard themselves
  FaultFile faults;
  StreamFormat format;
  CodecControls controls;
  Microsoft::WRL::ComPtr<IMFAttributes> attributes;
  bool providesSamples = false;  // chosen when the transform is made
  bool typeIsStale = false;      // a change of the output type was told and not yet answered

 private:
  // Null when there is no such interface. Adds no reference.
  IUnknown* Find(REFIID iid);
  void LogQuery(REFIID iid, HRESULT hr) const;

  std::atomic<ULONG> references = 1;
};

// The message's name, for the call log.
const char* MessageName(MFT_MESSAGE_TYPE message);

}  // namespace talu
