#include "encoder/fakes/fake_adapter_win.h"

#include <algorithm>

namespace talu {

HRESULT ScriptedAdapter::GetDesc(DXGI_ADAPTER_DESC* description) {
  const HRESULT result = script.Called("Adapter.GetDesc");
  if (SUCCEEDED(result)) {
    std::copy(scripted.description.begin(), scripted.description.end(), description->Description);
    description->VendorId = 0x00410042;  // Looks like text, to whoever reads on.
  }
  return result;
}

HRESULT ScriptedAdapter::CheckInterfaceSupport(REFGUID id, LARGE_INTEGER* version) {
  const HRESULT result = script.Called("Adapter.CheckInterfaceSupport",
                                       IsEqualGUID(id, __uuidof(IDXGIDevice)) ? "" : "unknown");
  if (FAILED(result) || scripted.driverVersion == 0) {
    return DXGI_ERROR_UNSUPPORTED;
  }
  version->QuadPart = static_cast<LONGLONG>(scripted.driverVersion);
  return S_OK;
}

HRESULT ScriptedDxgiDevice::GetAdapter(IDXGIAdapter** adapter) {
  const HRESULT result = script.Called("DxgiDevice.GetAdapter");
  if (SUCCEEDED(result)) {
    *adapter = new FakeAdapter(script, scripted);
  }
  return result;
}

BOOL ScriptedMultithread::SetMultithreadProtected(BOOL on) {
  script.Called("Multithread.Protect", on ? "TRUE" : "FALSE");
  return FALSE;
}

void* ScriptedDirect3dDevice::Find(REFIID id) {
  if (IsEqualGUID(id, __uuidof(IDXGIDevice))) {
    return SUCCEEDED(script.Called("Device.QueryDxgi"))
               ? static_cast<IDXGIDevice*>(new FakeDxgiDevice(script, scripted))
               : nullptr;
  }
  if (IsEqualGUID(id, __uuidof(ID3D10Multithread))) {
    return SUCCEEDED(script.Called("Device.QueryMultithread")) && scripted.hasMultithread
               ? static_cast<ID3D10Multithread*>(new FakeMultithread(script))
               : nullptr;
  }
  return nullptr;
}

ScriptedDeviceManager::~ScriptedDeviceManager() {
  if (held != nullptr) {
    held->Release();
  }
}

HRESULT ScriptedDeviceManager::ResetDevice(IUnknown* device, UINT token) {
  const HRESULT result = script.Called("Manager.ResetDevice", std::to_string(token));
  if (SUCCEEDED(result)) {
    held = device;
    held->AddRef();
  }
  return result;
}

}  // namespace talu
