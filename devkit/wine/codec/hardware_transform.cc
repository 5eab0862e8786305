#include "devkit/wine/codec/hardware_transform.h"

#include <mfapi.h>
#include <mferror.h>

#include <algorithm>

#include "devkit/wine/codec/call_log.h"

namespace talu {
namespace {

using std::chrono::milliseconds;

// A device takes some time for a picture, and readers look for old events right after handing one
// over: a request that comes at once would be taken for one of those.
constexpr milliseconds kRequestGapMs{2};
constexpr milliseconds kRenewalMs{100};
// How long a prompt transform's caller waits for its unit at most.
constexpr milliseconds kPromptMs{50};
// How often an idle worker looks at the control file.
constexpr milliseconds kIdleLookMs{20};
constexpr size_t kMostPictures = 8;

}  // namespace

HardwareTransform::HardwareTransform(const char* ownName, const FaultFile& ownFaults)
    : EncoderTransform(ownName, ownFaults) {
  MFCreateEventQueue(&events);  // a failure shows in Complete
  if (!attributes) return;
  // Only running out of memory could fail here.
  attributes->SetUINT32(MF_TRANSFORM_ASYNC, TRUE);
  attributes->SetUINT32(MF_SA_D3D11_AWARE, TRUE);
  attributes->SetUINT32(MFT_SUPPORT_DYNAMIC_FORMAT_CHANGE, TRUE);
  attributes->SetString(MFT_ENUM_HARDWARE_URL_Attribute, L"talu_h264");
}

HardwareTransform::~HardwareTransform() {
  {
    const Lock held(lock);
    leaving = true;
  }
  wake.notify_all();
  if (worker.joinable()) worker.join();
  if (events) events->Shutdown();  // fails only when it is shut down already
}

STDMETHODIMP HardwareTransform::QueryInterface(REFIID iid, void** object) {
  return EncoderTransform::QueryInterface(iid, object);
}

STDMETHODIMP_(ULONG) HardwareTransform::AddRef() { return EncoderTransform::AddRef(); }

STDMETHODIMP_(ULONG) HardwareTransform::Release() { return EncoderTransform::Release(); }

IUnknown* HardwareTransform::Interface(REFIID iid) {
  if (IsEqualGUID(iid, __uuidof(IMFMediaEventGenerator))) {
    return static_cast<IMFMediaEventGenerator*>(this);
  }
  if (IsEqualGUID(iid, __uuidof(IMFShutdown))) return static_cast<IMFShutdown*>(this);
  return nullptr;
}

HRESULT HardwareTransform::Usable() {
  if (isShutDown) return MF_E_SHUTDOWN;
  if (MFGetAttributeUINT32(attributes.Get(), MF_TRANSFORM_ASYNC_UNLOCK, 0) == 0) {
    return MF_E_TRANSFORM_ASYNC_LOCKED;
  }
  return S_OK;
}

void HardwareTransform::TypesChanged() {
  if (!format.Ready()) {
    Forget();
    closeCore = true;
    wake.notify_all();
    return;
  }
  if (typeIsStale) return;
  for (; outputsOwed > 0; --outputsOwed) Post(METransformHaveOutput);
}

void HardwareTransform::Post(MediaEventType type) {
  const HRESULT hr = events->QueueEventParamVar(type, GUID_NULL, S_OK, nullptr);
  LogCall(name, "event %d -> 0x%08lX", static_cast<int>(type), static_cast<unsigned long>(hr));
}

void HardwareTransform::Forget() {
  ++epoch;
  pictures.clear();
  units.clear();
  outputsOwed = 0;
  asking = draining = requestOwed = requestRead = false;
  asked = answered = 0;
  coded.notify_all();
}

void HardwareTransform::StartWorker() {
  if (!worker.joinable()) worker = std::thread([this] { Work(); });
}

void HardwareTransform::StartAsking() {
  if (asking) return;
  asking = true;
  draining = false;
  OweRequest(Clock::now());
  StartWorker();
  wake.notify_all();
}

HRESULT HardwareTransform::TakeManager(IUnknown* next) {
  if (!next) {
    manager.Reset();
    return S_OK;
  }
  Microsoft::WRL::ComPtr<IMFDXGIDeviceManager> device;
  if (const HRESULT hr = next->QueryInterface(IID_PPV_ARGS(&device)); FAILED(hr)) return hr;
  manager = next;
  return S_OK;
}

HRESULT HardwareTransform::React(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) {
  if (const HRESULT hr = Usable(); FAILED(hr)) return hr;
  switch (message) {
    case MFT_MESSAGE_SET_D3D_MANAGER:
      return TakeManager(reinterpret_cast<IUnknown*>(parameter));
    case MFT_MESSAGE_COMMAND_FLUSH:
      Forget();
      return S_OK;
    case MFT_MESSAGE_COMMAND_DRAIN:
      asking = requestOwed = false;
      draining = true;
      StartWorker();
      wake.notify_all();
      return S_OK;
    case MFT_MESSAGE_NOTIFY_BEGIN_STREAMING:
      if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
      StartWorker();
      return S_OK;
    case MFT_MESSAGE_NOTIFY_START_OF_STREAM:
      if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
      StartAsking();
      return S_OK;
    case MFT_MESSAGE_NOTIFY_END_OF_STREAM:
      asking = requestOwed = false;
      return S_OK;
    case MFT_MESSAGE_NOTIFY_END_STREAMING:
      Forget();
      closeCore = true;
      wake.notify_all();
      return S_OK;
    default:
      return S_OK;
  }
}

STDMETHODIMP HardwareTransform::ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) {
  const Lock held(lock);
  const HRESULT hr = React(message, parameter);
  LogCall(name, "ProcessMessage %s -> 0x%08lX", MessageName(message),
          static_cast<unsigned long>(hr));
  return hr;
}

STDMETHODIMP HardwareTransform::GetInputStatus(DWORD stream, DWORD* flags) {
  if (!flags) return E_POINTER;
  const Lock held(lock);
  if (const HRESULT hr = Usable(); FAILED(hr)) return hr;
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  *flags = asked > answered ? MFT_INPUT_STATUS_ACCEPT_DATA : 0;
  return S_OK;
}

STDMETHODIMP HardwareTransform::GetOutputStatus(DWORD* flags) {
  if (!flags) return E_POINTER;
  const Lock held(lock);
  if (const HRESULT hr = Usable(); FAILED(hr)) return hr;
  *flags = units.empty() ? 0 : MFT_OUTPUT_STATUS_SAMPLE_READY;
  return S_OK;
}

void HardwareTransform::NoticeFaults() {
  const FaultPlan& plan = faults.Look();
  if (noticedChanges == faults.Changes()) return;
  noticedChanges = faults.Changes();
  swallowsLeft = plan.swallows;
  takenSinceChange = 0;
  changeDue = plan.streamChange;
}

HRESULT HardwareTransform::Take(Lock& held, IMFSample& sample) {
  if (const HRESULT hr = Usable(); FAILED(hr)) return hr;
  if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  NoticeFaults();
  const bool wanted = asked > answered && pictures.size() < kMostPictures;
  answered += wanted;
  if (faults.Look().refusesInput) {
    OweRequest(Clock::now());
    wake.notify_all();
    return E_FAIL;
  }
  if (!wanted) return MF_E_NOTACCEPTING;
  ++takenSinceChange;
  pictures.push_back({&sample, controls.TakeForcedKeyFrame()});
  wake.notify_all();
  if (faults.Look().prompt) AwaitUnit(held);
  inputReturned = Clock::now();
  return S_OK;
}

void HardwareTransform::AwaitUnit(Lock& held) {
  const uint64_t now = epoch;
  returning = true;
  coded.wait_for(held, kPromptMs, [&] { return (pictures.empty() && !coding) || epoch != now; });
  returning = false;
  wake.notify_all();
}

STDMETHODIMP HardwareTransform::ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) {
  if (!sample) return E_POINTER;
  if (flags != 0) return E_INVALIDARG;
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  Lock held(lock);
  const HRESULT hr = Take(held, *sample);
  LogCall(name, "ProcessInput -> 0x%08lX", static_cast<unsigned long>(hr));
  return hr;
}

HRESULT HardwareTransform::Give(MFT_OUTPUT_DATA_BUFFER& buffer) {
  if (const HRESULT hr = Usable(); FAILED(hr)) return hr;
  if (!format.Ready()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  buffer.dwStatus = 0;
  NoticeFaults();
  if (units.empty()) return E_UNEXPECTED;
  if (changeDue) {
    changeDue = false;
    typeIsStale = true;
  }
  if (typeIsStale) {
    ++outputsOwed;
    buffer.dwStatus = MFT_OUTPUT_DATA_BUFFER_FORMAT_CHANGE;
    return MF_E_TRANSFORM_STREAM_CHANGE;
  }
  const HRESULT hr = HandOver(units.front(), providesSamples, &buffer.pSample);
  if (SUCCEEDED(hr)) units.pop_front();
  return hr;
}

STDMETHODIMP HardwareTransform::ProcessOutput(DWORD flags, DWORD count,
                                              MFT_OUTPUT_DATA_BUFFER* buffers, DWORD* status) {
  if (!buffers || !status) return E_POINTER;
  if (flags != 0 || count != 1) return E_INVALIDARG;
  if (buffers->dwStreamID != 0) return MF_E_INVALIDSTREAMNUMBER;
  *status = 0;
  const Lock held(lock);
  const HRESULT hr = Give(*buffers);
  LogCall(name, "ProcessOutput -> 0x%08lX", static_cast<unsigned long>(hr));
  return hr;
}

void HardwareTransform::NoteRead(IMFMediaEvent* event) {
  MediaEventType type = MEUnknown;
  if (FAILED(event->GetType(&type))) return;
  LogCall(name, "GetEvent %d", static_cast<int>(type));
  if (type != METransformNeedInput) return;
  const Lock held(lock);
  requestRead = true;
  requestReadAt = Clock::now();
}

STDMETHODIMP HardwareTransform::GetEvent(DWORD flags, IMFMediaEvent** event) {
  if (!event) return E_POINTER;
  const HRESULT hr = events->GetEvent(flags, event);
  if (SUCCEEDED(hr)) NoteRead(*event);
  return hr;
}

STDMETHODIMP HardwareTransform::BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) {
  return events->BeginGetEvent(callback, state);
}

STDMETHODIMP HardwareTransform::EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) {
  if (!event) return E_POINTER;
  const HRESULT hr = events->EndGetEvent(result, event);
  if (SUCCEEDED(hr)) NoteRead(*event);
  return hr;
}

STDMETHODIMP HardwareTransform::QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                                           const PROPVARIANT* value) {
  return events->QueueEventParamVar(type, extended, status, value);
}

STDMETHODIMP HardwareTransform::Shutdown() {
  const Lock held(lock);
  if (isShutDown) return MF_E_SHUTDOWN;
  Forget();
  isShutDown = closeCore = true;
  wake.notify_all();
  return events->Shutdown();
}

STDMETHODIMP HardwareTransform::GetShutdownStatus(MFSHUTDOWN_STATUS* status) {
  if (!status) return E_POINTER;
  const Lock held(lock);
  if (!isShutDown) return MF_E_INVALIDREQUEST;
  *status = MFSHUTDOWN_COMPLETED;
  return S_OK;
}

bool HardwareTransform::MayAsk() {
  const FaultPlan& plan = faults.Look();
  if (!asking || plan.neverAsks) return false;
  return !plan.stopsAfter || takenSinceChange < *plan.stopsAfter;
}

void HardwareTransform::OweRequest(Clock::time_point from) {
  requestOwed = true;
  requestDue = from + milliseconds(faults.Look().asksLateMs);
}

bool HardwareTransform::AskIfDue() {
  const Clock::time_point now = Clock::now();
  if (asked > answered && requestRead && now >= requestReadAt + kRenewalMs) requestOwed = true;
  if (!requestOwed || !MayAsk()) return false;
  if (returning || now < requestDue || now < inputReturned + kRequestGapMs) return false;
  requestOwed = requestRead = false;
  ++asked;
  Post(METransformNeedInput);
  return true;
}

void HardwareTransform::Finish(const Picture& picture, HRESULT result, EncodedUnit&& unit) {
  if (result == S_OK) {
    units.push_back(std::move(unit));
    Post(METransformHaveOutput);
  } else if (FAILED(result)) {
    LogCall(name, "coding failed 0x%08lX, forced %d", static_cast<unsigned long>(result),
            picture.forceKeyFrame);
  }
  if (pictures.empty() && asking) OweRequest(Clock::now());
  coded.notify_all();
}

void HardwareTransform::CodeNext(Lock& held) {
  Picture picture = std::move(pictures.front());
  pictures.pop_front();
  if (faults.Look().noOutput || swallowsLeft > 0) {
    swallowsLeft = std::max(swallowsLeft - 1, 0);
    return Finish(picture, S_FALSE, {});
  }
  HRESULT result = OpenCore(core);
  if (FAILED(result)) return Finish(picture, result, {});
  const uint64_t begun = epoch;
  coding = true;
  held.unlock();
  core.Follow(controls.BitsPerSecond(), controls.KeyFrameInterval());
  EncodedUnit unit;
  result = core.Encode(*picture.sample.Get(), picture.forceKeyFrame, unit);
  picture.sample.Reset();
  held.lock();
  coding = false;
  if (epoch == begun) Finish(picture, result, std::move(unit));
}

HardwareTransform::Clock::time_point HardwareTransform::NextLook() {
  const Clock::time_point idle = Clock::now() + kIdleLookMs;
  if (!requestOwed || returning || !MayAsk()) return idle;
  return std::min(idle, std::max(requestDue, inputReturned + kRequestGapMs));
}

void HardwareTransform::Work() {
  Lock held(lock);
  while (!leaving) {
    NoticeFaults();
    if (closeCore) {
      core.Close();
      closeCore = false;
    }
    if (!pictures.empty()) {
      CodeNext(held);
      continue;
    }
    if (draining) {
      draining = false;
      Post(METransformDrainComplete);
    }
    if (!AskIfDue()) wake.wait_until(held, NextLook());
  }
}

}  // namespace talu
