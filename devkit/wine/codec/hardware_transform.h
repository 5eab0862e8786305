// The hardware-like encoder: an event-driven transform that codes on a thread of its own.
//
// It behaves as graphics makers' transforms do: locked until MF_TRANSFORM_ASYNC_UNLOCK is set, asks
// for a picture (METransformNeedInput) once the stream has started and again when the last one is
// coded, announces each unit (METransformHaveOutput), takes a Direct3D manager. Any thread may call
// it.
//
// A request that was read and stays unanswered for kRenewalMs is made again: a reader on a loaded
// machine may take one for an old one and drop it.
//
// Of the control file named by TALU_HARDWARE_CODEC it heeds every setting. Without that variable or
// that file there is no hardware: the transform is listed, but cannot be activated.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <thread>

#include "devkit/wine/codec/encoder_transform.h"

namespace talu {

class HardwareTransform final : public EncoderTransform,
                                public IMFMediaEventGenerator,
                                public IMFShutdown {
 public:
  HardwareTransform(const char* ownName, const FaultFile& ownFaults);

  // False when Media Foundation gave no event queue or no attribute store.
  bool Complete() const { return events && attributes; }

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP GetInputStatus(DWORD stream, DWORD* flags) override;
  STDMETHODIMP GetOutputStatus(DWORD* flags) override;
  STDMETHODIMP ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) override;
  STDMETHODIMP ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
  STDMETHODIMP ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* buffers,
                             DWORD* status) override;

  STDMETHODIMP GetEvent(DWORD flags, IMFMediaEvent** event) override;
  STDMETHODIMP BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override;
  STDMETHODIMP EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override;
  STDMETHODIMP QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                          const PROPVARIANT* value) override;

  STDMETHODIMP Shutdown() override;
  STDMETHODIMP GetShutdownStatus(MFSHUTDOWN_STATUS* status) override;

 private:
  using Clock = std::chrono::steady_clock;
  using Lock = std::unique_lock<std::mutex>;

  struct Picture {
    Microsoft::WRL::ComPtr<IMFSample> sample;
    bool forceKeyFrame = false;
  };

  ~HardwareTransform() override;
  IUnknown* Interface(REFIID iid) override;
  HRESULT Usable() override;
  void TypesChanged() override;

  // All of these are called with the lock held.
  HRESULT React(MFT_MESSAGE_TYPE message, ULONG_PTR parameter);
  HRESULT TakeManager(IUnknown* manager);
  HRESULT Take(Lock& held, IMFSample& sample);
  HRESULT Give(MFT_OUTPUT_DATA_BUFFER& buffer);
  void AwaitUnit(Lock& held);
  void StartAsking();
  void Forget();
  void StartWorker();
  void Post(MediaEventType type);
  void NoticeFaults();
  bool MayAsk();
  bool AskIfDue();
  void OweRequest(Clock::time_point from);
  void CodeNext(Lock& held);
  void Finish(const Picture& picture, HRESULT coded, EncodedUnit&& unit);
  Clock::time_point NextLook();

  void Work();
  void NoteRead(IMFMediaEvent* event);

  Microsoft::WRL::ComPtr<IMFMediaEventQueue> events;
  Microsoft::WRL::ComPtr<IUnknown> manager;
  std::thread worker;
  std::condition_variable wake;   // for the worker
  std::condition_variable coded;  // for a prompt transform's callers
  EncoderCore core;               // the worker's alone
  std::deque<Picture> pictures;
  std::deque<EncodedUnit> units;
  bool leaving = false;
  bool isShutDown = false;
  bool asking = false;  // from the start of the stream to its end, a flush or a drain
  bool draining = false;
  bool coding = false;     // the worker is at a picture, without the lock
  bool closeCore = false;  // the worker is to close the encoder before it goes on
  bool returning = false;  // a prompt ProcessInput is waiting for its unit
  uint64_t epoch = 0;      // grows when pictures under way lose their meaning
  uint64_t asked = 0;
  uint64_t answered = 0;
  bool requestOwed = false;
  Clock::time_point requestDue;
  bool requestRead = false;  // the last request has left the queue
  Clock::time_point requestReadAt;
  Clock::time_point inputReturned;
  int outputsOwed = 0;  // announcements used up by a change of the output type
  uint64_t noticedChanges = 0;
  int swallowsLeft = 0;
  int takenSinceChange = 0;
  bool changeDue = false;
};

}  // namespace talu
