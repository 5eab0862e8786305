// The software encoder: a synchronous transform that codes each picture when it is put in.
//
// It holds one unit at most; while it does, it takes no picture. Of the control file named by
// TALU_SOFTWARE_CODEC it heeds init-fails (and absent, activation-fails), no-codec-api,
// refuses-output-type, refuses-input, no-output, swallows, stream-change and provides-samples.
#pragma once

#include <optional>

#include "devkit/wine/codec/encoder_transform.h"

namespace talu {

class SoftwareTransform final : public EncoderTransform {
 public:
  explicit SoftwareTransform(const FaultFile& ownFaults);

  STDMETHODIMP GetInputStatus(DWORD stream, DWORD* flags) override;
  STDMETHODIMP GetOutputStatus(DWORD* flags) override;
  STDMETHODIMP ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) override;
  STDMETHODIMP ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
  STDMETHODIMP ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* buffers,
                             DWORD* status) override;

 private:
  ~SoftwareTransform() override = default;
  IUnknown* Interface(REFIID) override { return nullptr; }
  HRESULT Usable() override { return S_OK; }
  void TypesChanged() override;

  HRESULT React(MFT_MESSAGE_TYPE message);
  HRESULT Take(IMFSample& sample);
  HRESULT Give(MFT_OUTPUT_DATA_BUFFER& buffer);
  void NoticeFaults();

  EncoderCore core;
  std::optional<EncodedUnit> held;
  uint64_t noticedChanges = 0;
  int swallowsLeft = 0;
  bool changeDue = false;
};

}  // namespace talu
