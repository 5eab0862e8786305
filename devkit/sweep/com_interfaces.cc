// The headers' C form, in which a table of methods is a plain record.
#define CINTERFACE
#include "devkit/sweep/com_interfaces.h"

#include <d3d11.h>
#include <dxgi1_2.h>
#include <mfidl.h>
#include <mftransform.h>
#include <strmif.h>

#include <algorithm>
#include <array>

namespace talu {
namespace {

constexpr size_t kSlotBytes = sizeof(void*);

template <typename Table>
constexpr size_t kSlots = sizeof(Table) / kSlotBytes;

// clang-format off
#define SLOT(table, method) {#method, offsetof(table, method) / kSlotBytes}
// clang-format on

constexpr ComMethod kDevice[] = {SLOT(ID3D11DeviceVtbl, CreateTexture2D),
                                 SLOT(ID3D11DeviceVtbl, GetDeviceRemovedReason)};
constexpr ComMethod kContext[] = {SLOT(ID3D11DeviceContextVtbl, CopyResource),
                                  SLOT(ID3D11DeviceContextVtbl, Map),
                                  SLOT(ID3D11DeviceContextVtbl, Unmap)};
constexpr ComMethod kTexture[] = {SLOT(ID3D11Texture2DVtbl, GetDesc)};
constexpr ComMethod kMultithread[] = {SLOT(ID3D10MultithreadVtbl, SetMultithreadProtected)};
constexpr ComMethod kDxgiDevice[] = {SLOT(IDXGIDeviceVtbl, GetAdapter)};
constexpr ComMethod kAdapter[] = {
    SLOT(IDXGIAdapterVtbl, EnumOutputs), SLOT(IDXGIAdapterVtbl, GetDesc),
    SLOT(IDXGIAdapterVtbl, CheckInterfaceSupport), SLOT(IDXGIAdapterVtbl, GetParent)};
constexpr ComMethod kFactory[] = {SLOT(IDXGIFactory1Vtbl, IsCurrent)};
constexpr ComMethod kOutput[] = {SLOT(IDXGIOutputVtbl, GetDesc)};
constexpr ComMethod kOutput1[] = {SLOT(IDXGIOutput1Vtbl, DuplicateOutput)};
constexpr ComMethod kDuplication[] = {SLOT(IDXGIOutputDuplicationVtbl, AcquireNextFrame),
                                      SLOT(IDXGIOutputDuplicationVtbl, GetFramePointerShape),
                                      SLOT(IDXGIOutputDuplicationVtbl, ReleaseFrame)};
constexpr ComMethod kActivate[] = {SLOT(IMFActivateVtbl, ActivateObject)};
constexpr ComMethod kAttributes[] = {SLOT(IMFAttributesVtbl, SetUINT32)};
constexpr ComMethod kMediaType[] = {
    SLOT(IMFMediaTypeVtbl, SetGUID), SLOT(IMFMediaTypeVtbl, SetUINT32),
    SLOT(IMFMediaTypeVtbl, SetUINT64), SLOT(IMFMediaTypeVtbl, GetGUID)};
constexpr ComMethod kSample[] = {
    SLOT(IMFSampleVtbl, AddBuffer),         SLOT(IMFSampleVtbl, SetSampleTime),
    SLOT(IMFSampleVtbl, SetSampleDuration), SLOT(IMFSampleVtbl, GetUINT32),
    SLOT(IMFSampleVtbl, GetSampleTime),     SLOT(IMFSampleVtbl, ConvertToContiguousBuffer)};
constexpr ComMethod kBuffer[] = {SLOT(IMFMediaBufferVtbl, Lock), SLOT(IMFMediaBufferVtbl, Unlock),
                                 SLOT(IMFMediaBufferVtbl, SetCurrentLength)};
constexpr ComMethod kTransform[] = {
    SLOT(IMFTransformVtbl, GetAttributes),       SLOT(IMFTransformVtbl, GetStreamIDs),
    SLOT(IMFTransformVtbl, SetOutputType),       SLOT(IMFTransformVtbl, SetInputType),
    SLOT(IMFTransformVtbl, GetOutputStreamInfo), SLOT(IMFTransformVtbl, GetOutputAvailableType),
    SLOT(IMFTransformVtbl, GetOutputStatus),     SLOT(IMFTransformVtbl, ProcessMessage),
    SLOT(IMFTransformVtbl, ProcessInput),        SLOT(IMFTransformVtbl, ProcessOutput)};
constexpr ComMethod kGenerator[] = {SLOT(IMFMediaEventGeneratorVtbl, GetEvent)};
constexpr ComMethod kEvent[] = {SLOT(IMFMediaEventVtbl, GetType)};
constexpr ComMethod kCodecApi[] = {SLOT(ICodecAPIVtbl, SetValue)};
constexpr ComMethod kDeviceManager[] = {SLOT(IMFDXGIDeviceManagerVtbl, ResetDevice)};

const ComInterface kInterfaces[] = {
    {&IID_ID3D11Device, "ID3D11Device", kSlots<ID3D11DeviceVtbl>, kDevice},
    {&IID_ID3D11DeviceContext, "ID3D11DeviceContext", kSlots<ID3D11DeviceContextVtbl>, kContext},
    {&IID_ID3D11Texture2D, "ID3D11Texture2D", kSlots<ID3D11Texture2DVtbl>, kTexture},
    {&IID_ID3D10Multithread, "ID3D10Multithread", kSlots<ID3D10MultithreadVtbl>, kMultithread},
    {&IID_IDXGIDevice, "IDXGIDevice", kSlots<IDXGIDeviceVtbl>, kDxgiDevice},
    {&IID_IDXGIAdapter, "IDXGIAdapter", kSlots<IDXGIAdapterVtbl>, kAdapter},
    {&IID_IDXGIFactory1, "IDXGIFactory1", kSlots<IDXGIFactory1Vtbl>, kFactory},
    {&IID_IDXGIOutput, "IDXGIOutput", kSlots<IDXGIOutputVtbl>, kOutput},
    {&IID_IDXGIOutput1, "IDXGIOutput1", kSlots<IDXGIOutput1Vtbl>, kOutput1},
    {&IID_IDXGIOutputDuplication, "IDXGIOutputDuplication", kSlots<IDXGIOutputDuplicationVtbl>,
     kDuplication},
    {&IID_IDXGIResource, "IDXGIResource", kSlots<IDXGIResourceVtbl>, {}},
    {&IID_IMFActivate, "IMFActivate", kSlots<IMFActivateVtbl>, kActivate},
    {&IID_IMFAttributes, "IMFAttributes", kSlots<IMFAttributesVtbl>, kAttributes},
    {&IID_IMFMediaType, "IMFMediaType", kSlots<IMFMediaTypeVtbl>, kMediaType},
    {&IID_IMFSample, "IMFSample", kSlots<IMFSampleVtbl>, kSample},
    {&IID_IMFMediaBuffer, "IMFMediaBuffer", kSlots<IMFMediaBufferVtbl>, kBuffer},
    {&IID_IMFTransform, "IMFTransform", kSlots<IMFTransformVtbl>, kTransform},
    {&IID_IMFMediaEventGenerator, "IMFMediaEventGenerator", kSlots<IMFMediaEventGeneratorVtbl>,
     kGenerator},
    {&IID_IMFMediaEvent, "IMFMediaEvent", kSlots<IMFMediaEventVtbl>, kEvent},
    {&IID_ICodecAPI, "ICodecAPI", kSlots<ICodecAPIVtbl>, kCodecApi},
    {&IID_IMFDXGIDeviceManager, "IMFDXGIDeviceManager", kSlots<IMFDXGIDeviceManagerVtbl>,
     kDeviceManager},
};

constexpr std::array<std::string_view, 3> kUnknownMethods{"QueryInterface", "AddRef", "Release"};

constexpr Handout kHandouts[] = {
    {"D3D11CreateDevice", 7, "ID3D11Device", 0},
    {"D3D11CreateDevice", 9, "ID3D11DeviceContext", 0},
    {"CoCreateInstance", 4, "", 3},
    {"MFCreateMediaType", 0, "IMFMediaType", 0},
    {"MFCreateSample", 0, "IMFSample", 0},
    {"MFCreateMemoryBuffer", 1, "IMFMediaBuffer", 0},
    {"MFCreateDXGIDeviceManager", 1, "IMFDXGIDeviceManager", 0},
    {"ID3D11Device::CreateTexture2D", 3, "ID3D11Texture2D", 0},
    {"IDXGIDevice::GetAdapter", 1, "IDXGIAdapter", 0},
    {"IDXGIAdapter::EnumOutputs", 2, "IDXGIOutput", 0},
    {"IDXGIAdapter::GetParent", 2, "", 1},
    {"IDXGIOutput1::DuplicateOutput", 2, "IDXGIOutputDuplication", 0},
    {"IDXGIOutputDuplication::AcquireNextFrame", 3, "IDXGIResource", 0},
    {"IMFActivate::ActivateObject", 2, "", 1},
    {"IMFTransform::GetAttributes", 1, "IMFAttributes", 0},
    {"IMFTransform::GetOutputAvailableType", 3, "IMFMediaType", 0},
    {"IMFSample::ConvertToContiguousBuffer", 1, "IMFMediaBuffer", 0},
    {"IMFMediaEventGenerator::GetEvent", 2, "IMFMediaEvent", 0},
};

}  // namespace

const ComInterface* FindInterface(const IID& id) {
  const auto* found =
      std::find_if(std::begin(kInterfaces), std::end(kInterfaces),
                   [&id](const ComInterface& entry) { return IsEqualIID(*entry.id, id); });
  return found == std::end(kInterfaces) ? nullptr : found;
}

const ComInterface* FindInterface(std::string_view name) {
  const auto* found =
      std::find_if(std::begin(kInterfaces), std::end(kInterfaces),
                   [&name](const ComInterface& entry) { return entry.name == name; });
  return found == std::end(kInterfaces) ? nullptr : found;
}

std::string_view MethodName(const ComInterface& type, size_t slot) {
  if (slot < kUnknownMethods.size()) return kUnknownMethods[slot];
  for (const ComMethod& method : type.methods) {
    if (method.slot == slot) return method.name;
  }
  return {};
}

std::span<const Handout> Handouts() { return kHandouts; }

}  // namespace talu
