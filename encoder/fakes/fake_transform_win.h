// An encoder transform that does what a test wants, and the activation object it comes from.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "encoder/fakes/call_script.h"
#include "encoder/fakes/fake_com_win.h"
#include "encoder/fakes/fake_media_win.h"
#include "encoder/fakes/media_stubs_win.h"

namespace talu {

// One encoded unit that a transform is to give out.
struct ScriptedOutput {
  std::vector<uint8_t> bytes;
  std::optional<uint32_t> cleanPoint;
  std::optional<int64_t> time;
};

// A picture that a transform accepted.
struct SeenInput {
  int64_t time;
  int64_t duration;
  std::vector<uint8_t> bytes;
};

// What a transform is and does; outlives it. Calls are noted under name, as "hw.ProcessInput 0".
//
// Left alone, it encodes: each picture it accepts is an output of one byte with the picture's time,
// the first one a clean point. An asynchronous one tells so by its events, and asks for the next
// picture only when its queue has been found empty once.
struct TransformScript {
  std::string name;
  bool async = false;
  bool hasAttributes = true;
  bool hasCodecApi = true;
  // Answers E_NOTIMPL to GetStreamIDs unless these are given.
  std::optional<std::pair<uint32_t, uint32_t>> streamIds;
  uint32_t outputFlags = 0;
  uint32_t outputBytes = 0;

  // Asynchronous ones: asks for a first picture when streaming starts, and for further ones.
  bool asksFirst = true;
  bool asksAgain = true;
  // Gives something out for each picture.
  bool encodes = true;
  // Synchronous ones: GetOutputStatus says whether output is there.
  bool tellsOutputStatus = true;
  // ProcessOutput asks for another output type until one is set.
  bool wantsRetype = false;
  // ProcessOutput hands out a collection of events too, also when it fails, and a sample with its
  // failure.
  bool bringsExtras = false;
  // The types that GetOutputAvailableType offers.
  std::vector<GUID> offered;

  // The state of the transform in use.
  std::deque<ScriptedOutput> outputs;
  std::deque<MediaEventType> events;
  bool requestDue = false;
  bool lookedInVain = false;

  // What it was given.
  std::vector<SeenInput> inputs;
  std::vector<std::string> outputType;
  std::vector<std::string> inputType;
  // The output buffers it was handed, in bytes.
  std::vector<uint32_t> outputBufferSizes;
  int created = 0;
};

class ScriptedTransform : public TransformStub, public EventGeneratorStub, public CodecApiStub {
 public:
  ScriptedTransform(CallScript& calls, TransformScript& does);

  HRESULT GetAttributes(IMFAttributes** out) override;
  HRESULT GetStreamIDs(DWORD inputCount, DWORD* inputs, DWORD outputCount, DWORD* outputs) override;
  HRESULT GetOutputStreamInfo(DWORD stream, MFT_OUTPUT_STREAM_INFO* info) override;
  HRESULT GetOutputAvailableType(DWORD stream, DWORD index, IMFMediaType** type) override;
  HRESULT SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
  HRESULT SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
  HRESULT GetOutputStatus(DWORD* status) override;
  HRESULT ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) override;
  HRESULT ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
  HRESULT ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* record,
                        DWORD* status) override;

  HRESULT GetEvent(DWORD flags, IMFMediaEvent** event) override;

  HRESULT SetValue(const GUID* property, VARIANT* value) override;

 protected:
  void* Find(REFIID id);

 private:
  HRESULT Note(const std::string& call, const std::string& details = {});

  CallScript& script;
  TransformScript& scripted;
};

// Counted for several interfaces at once.
class FakeTransform : public ScriptedTransform {
 public:
  using ScriptedTransform::ScriptedTransform;

  ULONG AddRef() override { return ++references; }
  ULONG Release() override;
  HRESULT QueryInterface(REFIID id, void** object) override;

 private:
  ~FakeTransform() override = default;

  std::atomic<ULONG> references{1};
  FakesAlive alive;
};

class ScriptedActivation : public ActivateStub {
 public:
  ScriptedActivation(CallScript& calls, TransformScript& gives) : script(calls), scripted(gives) {}
  HRESULT ActivateObject(REFIID id, void** object) override;

 protected:
  void* Find(REFIID) { return nullptr; }

 private:
  CallScript& script;
  TransformScript& scripted;
};
using FakeActivation = Counted<ScriptedActivation>;

}  // namespace talu
