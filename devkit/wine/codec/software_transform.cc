#include "devkit/wine/codec/software_transform.h"

#include <mferror.h>

#include "devkit/wine/codec/call_log.h"

namespace talu {

SoftwareTransform::SoftwareTransform(const FaultFile& ownFaults)
    : EncoderTransform("software", ownFaults) {}

void SoftwareTransform::TypesChanged() {
  if (format.Ready()) return;
  core.Close();
  held.reset();
}

void SoftwareTransform::NoticeFaults() {
  const FaultPlan& plan = faults.Look();
  if (noticedChanges == faults.Changes()) return;
  noticedChanges = faults.Changes();
  swallowsLeft = plan.swallows;
  changeDue = plan.streamChange;
}

STDMETHODIMP SoftwareTransform::GetInputStatus(DWORD stream, DWORD* flags) {
  if (!flags) return E_POINTER;
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  const std::lock_guard guard(lock);
  if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  *flags = held ? 0 : MFT_INPUT_STATUS_ACCEPT_DATA;
  return S_OK;
}

STDMETHODIMP SoftwareTransform::GetOutputStatus(DWORD* flags) {
  if (!flags) return E_POINTER;
  const std::lock_guard guard(lock);
  if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  *flags = held ? MFT_OUTPUT_STATUS_SAMPLE_READY : 0;
  return S_OK;
}

HRESULT SoftwareTransform::React(MFT_MESSAGE_TYPE message) {
  switch (message) {
    case MFT_MESSAGE_COMMAND_FLUSH:
      held.reset();
      return S_OK;
    case MFT_MESSAGE_NOTIFY_BEGIN_STREAMING:
      return format.Ready() ? OpenCore(core) : MF_E_TRANSFORM_TYPE_NOT_SET;
    case MFT_MESSAGE_NOTIFY_END_STREAMING:
      core.Close();
      held.reset();
      return S_OK;
    case MFT_MESSAGE_SET_D3D_MANAGER:
      return E_NOTIMPL;
    default:
      return S_OK;
  }
}

STDMETHODIMP SoftwareTransform::ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR) {
  const std::lock_guard guard(lock);
  const HRESULT hr = React(message);
  LogCall(name, "ProcessMessage %s -> 0x%08lX", MessageName(message),
          static_cast<unsigned long>(hr));
  return hr;
}

HRESULT SoftwareTransform::Take(IMFSample& sample) {
  if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  if (held) return MF_E_NOTACCEPTING;
  NoticeFaults();
  const FaultPlan& plan = faults.Look();
  if (plan.refusesInput) return E_FAIL;
  if (plan.noOutput) return S_OK;
  if (swallowsLeft > 0) {
    --swallowsLeft;
    return S_OK;
  }
  if (const HRESULT hr = OpenCore(core); FAILED(hr)) return hr;
  core.Follow(controls.BitsPerSecond(), controls.KeyFrameInterval());
  EncodedUnit unit;
  const HRESULT hr = core.Encode(sample, controls.TakeForcedKeyFrame(), unit);
  if (hr == S_OK) held = std::move(unit);
  return FAILED(hr) ? hr : S_OK;
}

STDMETHODIMP SoftwareTransform::ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) {
  if (!sample) return E_POINTER;
  if (flags != 0) return E_INVALIDARG;
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  const std::lock_guard guard(lock);
  const HRESULT hr = Take(*sample);
  LogCall(name, "ProcessInput -> 0x%08lX", static_cast<unsigned long>(hr));
  return hr;
}

HRESULT SoftwareTransform::Give(MFT_OUTPUT_DATA_BUFFER& buffer) {
  if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  buffer.dwStatus = 0;
  NoticeFaults();
  if (!held) return MF_E_TRANSFORM_NEED_MORE_INPUT;
  if (changeDue) {
    changeDue = false;
    typeIsStale = true;
  }
  if (typeIsStale) {
    buffer.dwStatus = MFT_OUTPUT_DATA_BUFFER_FORMAT_CHANGE;
    return MF_E_TRANSFORM_STREAM_CHANGE;
  }
  const HRESULT hr = HandOver(*held, providesSamples, &buffer.pSample);
  if (SUCCEEDED(hr)) held.reset();
  return hr;
}

STDMETHODIMP SoftwareTransform::ProcessOutput(DWORD flags, DWORD count,
                                              MFT_OUTPUT_DATA_BUFFER* buffers, DWORD* status) {
  if (!buffers || !status) return E_POINTER;
  if (flags != 0 || count != 1) return E_INVALIDARG;
  if (buffers->dwStreamID != 0) return MF_E_INVALIDSTREAMNUMBER;
  *status = 0;
  const std::lock_guard guard(lock);
  const HRESULT hr = Give(*buffers);
  LogCall(name, "ProcessOutput -> 0x%08lX", static_cast<unsigned long>(hr));
  return hr;
}

}  // namespace talu
