// The application-local d3d11.dll: the system's own, plus what Wine 8 lacks of desktop duplication.
// Used with WINEDLLOVERRIDES=d3d11=n,b. On Windows it passes everything on and adds nothing.
#include <d3d11.h>
#include <wrl/client.h>

#include <string>

#include "devkit/wine/desktop/frame_texture.h"
#include "devkit/wine/desktop/output.h"

namespace talu {

namespace {

using Microsoft::WRL::ComPtr;

HMODULE LoadSystemLibrary() {
  std::wstring path(MAX_PATH, L'\0');
  // A system directory's path is far shorter.
  path.resize(GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size())));
  return LoadLibraryW((path + L"\\d3d11.dll").c_str());
}

HMODULE SystemLibrary() {
  static HMODULE const library = LoadSystemLibrary();
  return library;
}

template <class Function>
Function SystemFunction(const char* name) {
  HMODULE library = SystemLibrary();
  if (library == nullptr) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

bool IsWine() {
  static const bool wine =
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
  return wine;
}

void SupplyDuplication(ID3D11Device* device) {
  if (!IsWine()) return;
  ComPtr<ID3D11DeviceContext> context;
  device->GetImmediateContext(&context);
  ComPtr<IDXGIDevice> dxgiDevice;
  ComPtr<IDXGIAdapter> adapter;
  if (FAILED(device->QueryInterface(__uuidof(IDXGIDevice),
                                    reinterpret_cast<void**>(dxgiDevice.GetAddressOf()))) ||
      FAILED(dxgiDevice->GetAdapter(&adapter))) {
    return;
  }
  InstallCopyShortcut(device, context.Get());
  InstallOutputs(adapter.Get());
}

}  // namespace

extern "C" {

HRESULT WINAPI TaluD3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE driverType,
                                     HMODULE software, UINT flags, const D3D_FEATURE_LEVEL* levels,
                                     UINT levelCount, UINT sdkVersion, ID3D11Device** device,
                                     D3D_FEATURE_LEVEL* level, ID3D11DeviceContext** context) {
  static const auto create = SystemFunction<PFN_D3D11_CREATE_DEVICE>("D3D11CreateDevice");
  if (create == nullptr) return E_FAIL;
  const HRESULT result = create(adapter, driverType, software, flags, levels, levelCount,
                                sdkVersion, device, level, context);
  if (SUCCEEDED(result) && device != nullptr && *device != nullptr) SupplyDuplication(*device);
  return result;
}

HRESULT WINAPI TaluD3D11CreateDeviceAndSwapChain(
    IDXGIAdapter* adapter, D3D_DRIVER_TYPE driverType, HMODULE software, UINT flags,
    const D3D_FEATURE_LEVEL* levels, UINT levelCount, UINT sdkVersion,
    const DXGI_SWAP_CHAIN_DESC* swapChainDesc, IDXGISwapChain** swapChain, ID3D11Device** device,
    D3D_FEATURE_LEVEL* level, ID3D11DeviceContext** context) {
  static const auto create =
      SystemFunction<PFN_D3D11_CREATE_DEVICE_AND_SWAP_CHAIN>("D3D11CreateDeviceAndSwapChain");
  if (create == nullptr) return E_FAIL;
  const HRESULT result = create(adapter, driverType, software, flags, levels, levelCount,
                                sdkVersion, swapChainDesc, swapChain, device, level, context);
  if (SUCCEEDED(result) && device != nullptr && *device != nullptr) SupplyDuplication(*device);
  return result;
}

HRESULT WINAPI TaluD3D11On12CreateDevice(IUnknown* device12, UINT flags,
                                         const D3D_FEATURE_LEVEL* levels, UINT levelCount,
                                         IUnknown* const* queues, UINT queueCount, UINT nodeMask,
                                         ID3D11Device** device, ID3D11DeviceContext** context,
                                         D3D_FEATURE_LEVEL* level) {
  using Create = decltype(&TaluD3D11On12CreateDevice);
  static const auto create = SystemFunction<Create>("D3D11On12CreateDevice");
  if (create == nullptr) return E_NOTIMPL;
  return create(device12, flags, levels, levelCount, queues, queueCount, nodeMask, device, context,
                level);
}

HRESULT WINAPI TaluD3D11CoreCreateDevice(void* factory, void* adapter, UINT flags,
                                         const D3D_FEATURE_LEVEL* levels, UINT levelCount,
                                         ID3D11Device** device) {
  using Create = decltype(&TaluD3D11CoreCreateDevice);
  static const auto create = SystemFunction<Create>("D3D11CoreCreateDevice");
  if (create == nullptr) return E_NOTIMPL;
  return create(factory, adapter, flags, levels, levelCount, device);
}

// Wine's dxgi looks this name up in whatever module is called d3d11.dll.
HRESULT WINAPI TaluD3D11CoreRegisterLayers(const void* layers, UINT count) {
  using Register = decltype(&TaluD3D11CoreRegisterLayers);
  static const auto registerLayers = SystemFunction<Register>("D3D11CoreRegisterLayers");
  if (registerLayers == nullptr) return E_NOTIMPL;
  return registerLayers(layers, count);
}

}  // extern "C"

}  // namespace talu
