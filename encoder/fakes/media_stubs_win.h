// Media Foundation interfaces whose every call fails as not implemented.
//
// The fakes derive from these and answer what the code under test asks for.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfobjects.h>
#include <mftransform.h>
#include <strmif.h>

// COM's interfaces have no virtual destructors: objects are destroyed by their own Release.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace talu {

// For IMFAttributes and the interfaces that extend it.
template <class Interface>
class AttributesStub : public Interface {
 public:
  virtual ~AttributesStub() = default;
  HRESULT GetItem(REFGUID, PROPVARIANT*) override { return E_NOTIMPL; }
  HRESULT GetItemType(REFGUID, MF_ATTRIBUTE_TYPE*) override { return E_NOTIMPL; }
  HRESULT CompareItem(REFGUID, REFPROPVARIANT, BOOL*) override { return E_NOTIMPL; }
  HRESULT Compare(IMFAttributes*, MF_ATTRIBUTES_MATCH_TYPE, BOOL*) override { return E_NOTIMPL; }
  HRESULT GetUINT32(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetUINT64(REFGUID, UINT64*) override { return E_NOTIMPL; }
  HRESULT GetDouble(REFGUID, double*) override { return E_NOTIMPL; }
  HRESULT GetGUID(REFGUID, GUID*) override { return E_NOTIMPL; }
  HRESULT GetStringLength(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetString(REFGUID, LPWSTR, UINT32, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetAllocatedString(REFGUID, LPWSTR*, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetBlobSize(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetBlob(REFGUID, UINT8*, UINT32, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetAllocatedBlob(REFGUID, UINT8**, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetUnknown(REFGUID, REFIID, LPVOID*) override { return E_NOTIMPL; }
  HRESULT SetItem(REFGUID, REFPROPVARIANT) override { return E_NOTIMPL; }
  HRESULT DeleteItem(REFGUID) override { return E_NOTIMPL; }
  HRESULT DeleteAllItems() override { return E_NOTIMPL; }
  HRESULT SetUINT32(REFGUID, UINT32) override { return E_NOTIMPL; }
  HRESULT SetUINT64(REFGUID, UINT64) override { return E_NOTIMPL; }
  HRESULT SetDouble(REFGUID, double) override { return E_NOTIMPL; }
  HRESULT SetGUID(REFGUID, REFGUID) override { return E_NOTIMPL; }
  HRESULT SetString(REFGUID, LPCWSTR) override { return E_NOTIMPL; }
  HRESULT SetBlob(REFGUID, const UINT8*, UINT32) override { return E_NOTIMPL; }
  HRESULT SetUnknown(REFGUID, IUnknown*) override { return E_NOTIMPL; }
  HRESULT LockStore() override { return E_NOTIMPL; }
  HRESULT UnlockStore() override { return E_NOTIMPL; }
  HRESULT GetCount(UINT32*) override { return E_NOTIMPL; }
  HRESULT GetItemByIndex(UINT32, GUID*, PROPVARIANT*) override { return E_NOTIMPL; }
  HRESULT CopyAllItems(IMFAttributes*) override { return E_NOTIMPL; }
};

class ActivateStub : public AttributesStub<IMFActivate> {
 public:
  HRESULT ActivateObject(REFIID, void**) override { return E_NOTIMPL; }
  HRESULT ShutdownObject() override { return E_NOTIMPL; }
  HRESULT DetachObject() override { return E_NOTIMPL; }
};

class MediaEventStub : public AttributesStub<IMFMediaEvent> {
 public:
  HRESULT GetType(MediaEventType*) override { return E_NOTIMPL; }
  HRESULT GetExtendedType(GUID*) override { return E_NOTIMPL; }
  HRESULT GetStatus(HRESULT*) override { return E_NOTIMPL; }
  HRESULT GetValue(PROPVARIANT*) override { return E_NOTIMPL; }
};

class MediaTypeStub : public AttributesStub<IMFMediaType> {
 public:
  HRESULT GetMajorType(GUID*) override { return E_NOTIMPL; }
  HRESULT IsCompressedFormat(BOOL*) override { return E_NOTIMPL; }
  HRESULT IsEqual(IMFMediaType*, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetRepresentation(GUID, LPVOID*) override { return E_NOTIMPL; }
  HRESULT FreeRepresentation(GUID, LPVOID) override { return E_NOTIMPL; }
};

class SampleStub : public AttributesStub<IMFSample> {
 public:
  HRESULT GetSampleFlags(DWORD*) override { return E_NOTIMPL; }
  HRESULT SetSampleFlags(DWORD) override { return E_NOTIMPL; }
  HRESULT GetSampleTime(LONGLONG*) override { return E_NOTIMPL; }
  HRESULT SetSampleTime(LONGLONG) override { return E_NOTIMPL; }
  HRESULT GetSampleDuration(LONGLONG*) override { return E_NOTIMPL; }
  HRESULT SetSampleDuration(LONGLONG) override { return E_NOTIMPL; }
  HRESULT GetBufferCount(DWORD*) override { return E_NOTIMPL; }
  HRESULT GetBufferByIndex(DWORD, IMFMediaBuffer**) override { return E_NOTIMPL; }
  HRESULT ConvertToContiguousBuffer(IMFMediaBuffer**) override { return E_NOTIMPL; }
  HRESULT AddBuffer(IMFMediaBuffer*) override { return E_NOTIMPL; }
  HRESULT RemoveBufferByIndex(DWORD) override { return E_NOTIMPL; }
  HRESULT RemoveAllBuffers() override { return E_NOTIMPL; }
  HRESULT GetTotalLength(DWORD*) override { return E_NOTIMPL; }
  HRESULT CopyToBuffer(IMFMediaBuffer*) override { return E_NOTIMPL; }
};

class CollectionStub : public IMFCollection {
 public:
  virtual ~CollectionStub() = default;
  HRESULT GetElementCount(DWORD*) override { return E_NOTIMPL; }
  HRESULT GetElement(DWORD, IUnknown**) override { return E_NOTIMPL; }
  HRESULT AddElement(IUnknown*) override { return E_NOTIMPL; }
  HRESULT RemoveElement(DWORD, IUnknown**) override { return E_NOTIMPL; }
  HRESULT InsertElementAt(DWORD, IUnknown*) override { return E_NOTIMPL; }
  HRESULT RemoveAllElements() override { return E_NOTIMPL; }
};

class TransformStub : public IMFTransform {
 public:
  virtual ~TransformStub() = default;
  HRESULT GetStreamLimits(DWORD*, DWORD*, DWORD*, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetStreamCount(DWORD*, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetInputStreamInfo(DWORD, MFT_INPUT_STREAM_INFO*) override { return E_NOTIMPL; }
  HRESULT GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO*) override { return E_NOTIMPL; }
  HRESULT GetAttributes(IMFAttributes**) override { return E_NOTIMPL; }
  HRESULT GetInputStreamAttributes(DWORD, IMFAttributes**) override { return E_NOTIMPL; }
  HRESULT GetOutputStreamAttributes(DWORD, IMFAttributes**) override { return E_NOTIMPL; }
  HRESULT DeleteInputStream(DWORD) override { return E_NOTIMPL; }
  HRESULT AddInputStreams(DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetInputAvailableType(DWORD, DWORD, IMFMediaType**) override { return E_NOTIMPL; }
  HRESULT GetOutputAvailableType(DWORD, DWORD, IMFMediaType**) override { return E_NOTIMPL; }
  HRESULT SetInputType(DWORD, IMFMediaType*, DWORD) override { return E_NOTIMPL; }
  HRESULT SetOutputType(DWORD, IMFMediaType*, DWORD) override { return E_NOTIMPL; }
  HRESULT GetInputCurrentType(DWORD, IMFMediaType**) override { return E_NOTIMPL; }
  HRESULT GetOutputCurrentType(DWORD, IMFMediaType**) override { return E_NOTIMPL; }
  HRESULT GetInputStatus(DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT GetOutputStatus(DWORD*) override { return E_NOTIMPL; }
  HRESULT SetOutputBounds(LONGLONG, LONGLONG) override { return E_NOTIMPL; }
  HRESULT ProcessEvent(DWORD, IMFMediaEvent*) override { return E_NOTIMPL; }
  HRESULT ProcessMessage(MFT_MESSAGE_TYPE, ULONG_PTR) override { return E_NOTIMPL; }
  HRESULT ProcessInput(DWORD, IMFSample*, DWORD) override { return E_NOTIMPL; }
  HRESULT ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER*, DWORD*) override {
    return E_NOTIMPL;
  }
};

class EventGeneratorStub : public IMFMediaEventGenerator {
 public:
  virtual ~EventGeneratorStub() = default;
  HRESULT GetEvent(DWORD, IMFMediaEvent**) override { return E_NOTIMPL; }
  HRESULT BeginGetEvent(IMFAsyncCallback*, IUnknown*) override { return E_NOTIMPL; }
  HRESULT EndGetEvent(IMFAsyncResult*, IMFMediaEvent**) override { return E_NOTIMPL; }
  HRESULT QueueEvent(MediaEventType, REFGUID, HRESULT, const PROPVARIANT*) override {
    return E_NOTIMPL;
  }
};

class CodecApiStub : public ICodecAPI {
 public:
  virtual ~CodecApiStub() = default;
  HRESULT IsSupported(const GUID*) override { return E_NOTIMPL; }
  HRESULT IsModifiable(const GUID*) override { return E_NOTIMPL; }
  HRESULT GetParameterRange(const GUID*, VARIANT*, VARIANT*, VARIANT*) override {
    return E_NOTIMPL;
  }
  HRESULT GetParameterValues(const GUID*, VARIANT**, ULONG*) override { return E_NOTIMPL; }
  HRESULT GetDefaultValue(const GUID*, VARIANT*) override { return E_NOTIMPL; }
  HRESULT GetValue(const GUID*, VARIANT*) override { return E_NOTIMPL; }
  HRESULT SetValue(const GUID*, VARIANT*) override { return E_NOTIMPL; }
  HRESULT RegisterForEvent(const GUID*, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT UnregisterForEvent(const GUID*) override { return E_NOTIMPL; }
  HRESULT SetAllDefaults() override { return E_NOTIMPL; }
  HRESULT SetValueWithNotify(const GUID*, VARIANT*, GUID**, ULONG*) override { return E_NOTIMPL; }
  HRESULT SetAllDefaultsWithNotify(GUID**, ULONG*) override { return E_NOTIMPL; }
  HRESULT GetAllSettings(IStream*) override { return E_NOTIMPL; }
  HRESULT SetAllSettings(IStream*) override { return E_NOTIMPL; }
  HRESULT SetAllSettingsWithNotify(IStream*, GUID**, ULONG*) override { return E_NOTIMPL; }
};

class DeviceManagerStub : public IMFDXGIDeviceManager {
 public:
  virtual ~DeviceManagerStub() = default;
  HRESULT CloseDeviceHandle(HANDLE) override { return E_NOTIMPL; }
  HRESULT GetVideoService(HANDLE, REFIID, void**) override { return E_NOTIMPL; }
  HRESULT LockDevice(HANDLE, REFIID, void**, BOOL) override { return E_NOTIMPL; }
  HRESULT OpenDeviceHandle(HANDLE*) override { return E_NOTIMPL; }
  HRESULT ResetDevice(IUnknown*, UINT) override { return E_NOTIMPL; }
  HRESULT TestDevice(HANDLE) override { return E_NOTIMPL; }
  HRESULT UnlockDevice(HANDLE, BOOL) override { return E_NOTIMPL; }
};

}  // namespace talu
