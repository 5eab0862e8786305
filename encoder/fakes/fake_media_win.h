// Media Foundation's plain objects: types, samples, buffers, events.
//
// They hold what they are given, note each call that can fail in the test's script and fail as it
// says. All are destroyed by their last Release.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "encoder/fakes/call_script.h"
#include "encoder/fakes/fake_com_win.h"
#include "encoder/fakes/media_stubs_win.h"

namespace talu {

struct GuidLess {
  bool operator()(const GUID& a, const GUID& b) const { return memcmp(&a, &b, sizeof(GUID)) < 0; }
};

// Attributes of the three kinds an encoder uses. The order in which they were set is kept.
class AttributeValues {
 public:
  // "FRAME_SIZE 1280x720", in the order of setting.
  std::vector<std::string> Described() const;

  HRESULT SetNumber(REFGUID key, uint64_t value);
  HRESULT Set(REFGUID key, REFGUID value);
  HRESULT Number(REFGUID key, uint64_t& value) const;
  HRESULT Get(REFGUID key, GUID& value) const;

 private:
  std::vector<GUID> order;
  std::map<GUID, uint64_t, GuidLess> numbers;
  std::map<GUID, GUID, GuidLess> guids;
};

// Base with its attribute store answered from values.
template <class Base>
class WithAttributes : public Base {
 public:
  HRESULT SetUINT32(REFGUID key, UINT32 value) override { return values.SetNumber(key, value); }
  HRESULT SetUINT64(REFGUID key, UINT64 value) override { return values.SetNumber(key, value); }
  HRESULT SetGUID(REFGUID key, REFGUID value) override { return values.Set(key, value); }
  HRESULT GetUINT32(REFGUID key, UINT32* value) override {
    uint64_t number = 0;
    const HRESULT result = values.Number(key, number);
    *value = static_cast<UINT32>(number);
    return result;
  }
  HRESULT GetUINT64(REFGUID key, UINT64* value) override {
    uint64_t number = 0;
    const HRESULT result = values.Number(key, number);
    *value = number;
    return result;
  }
  HRESULT GetGUID(REFGUID key, GUID* value) override { return values.Get(key, *value); }

  AttributeValues values;

 protected:
  virtual void* Find(REFIID) { return nullptr; }
};

class AttributeStore : public WithAttributes<AttributesStub<IMFAttributes>> {
 public:
  AttributeStore(CallScript& callScript, std::string namePrefix)
      : script(callScript), prefix(std::move(namePrefix)) {}

  HRESULT SetUINT32(REFGUID key, UINT32 value) override;

 private:
  CallScript& script;
  std::string prefix;
};
using FakeAttributes = Counted<AttributeStore>;

class FakeMediaTypeBase : public WithAttributes<MediaTypeStub> {};
using FakeMediaType = Counted<FakeMediaTypeBase>;

class FakeMediaEventBase : public WithAttributes<MediaEventStub> {
 public:
  explicit FakeMediaEventBase(MediaEventType eventType) : type(eventType) {}
  HRESULT GetType(MediaEventType* out) override {
    *out = type;
    return S_OK;
  }

 private:
  MediaEventType type;
};
using FakeMediaEvent = Counted<FakeMediaEventBase>;

// What some transforms hand out beside their output; only ever released.
class FakeCollectionBase : public CollectionStub {
 protected:
  void* Find(REFIID) { return nullptr; }
};
using FakeCollection = Counted<FakeCollectionBase>;

class FakeBufferBase : public IMFMediaBuffer {
 public:
  FakeBufferBase(CallScript& callScript, size_t size) : script(callScript), bytes(size) {}
  virtual ~FakeBufferBase() = default;

  HRESULT Lock(BYTE** data, DWORD* capacity, DWORD* length) override;
  HRESULT Unlock() override;
  HRESULT GetCurrentLength(DWORD* out) override;
  HRESULT SetCurrentLength(DWORD length) override;
  HRESULT GetMaxLength(DWORD* out) override;

  CallScript& script;
  std::vector<uint8_t> bytes;
  DWORD currentLength = 0;
  int locks = 0;

 protected:
  virtual void* Find(REFIID) { return nullptr; }
};
using FakeBuffer = Counted<FakeBufferBase>;

class FakeSampleBase : public WithAttributes<SampleStub> {
 public:
  explicit FakeSampleBase(CallScript& callScript) : script(callScript) {}
  ~FakeSampleBase() override;

  HRESULT AddBuffer(IMFMediaBuffer* added) override;
  HRESULT ConvertToContiguousBuffer(IMFMediaBuffer** out) override;
  HRESULT SetSampleTime(LONGLONG value) override;
  HRESULT GetSampleTime(LONGLONG* value) override;
  HRESULT SetSampleDuration(LONGLONG value) override;
  HRESULT GetSampleDuration(LONGLONG* value) override;

  CallScript& script;
  FakeBufferBase* buffer = nullptr;
  bool hasTime = false;
  LONGLONG time = 0;
  LONGLONG duration = 0;
};
using FakeSample = Counted<FakeSampleBase>;

}  // namespace talu
