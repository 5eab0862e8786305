#include <windows.h>

#include <d3d11.h>
#include <dxgi.h>
#include <wrl/client.h>

#include <cwchar>

#include "base/system_calls_win.h"
#include "encoder/gpu_identity.h"
#include "encoder/verdict_line.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

// The description need not end with a NUL when it fills its record.
std::string DescriptionUtf8(const DXGI_ADAPTER_DESC& adapter) {
  const int length = static_cast<int>(wcsnlen(adapter.Description, ARRAYSIZE(adapter.Description)));
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, adapter.Description, length, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, adapter.Description, length, text.data(), size, nullptr, nullptr);
  return text;
}

}  // namespace

std::string GpuIdentityKey() {
  ComPtr<ID3D11Device> device;
  if (FAILED(System().D3d11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                        D3D11_SDK_VERSION, &device, nullptr, nullptr))) {
    return {};
  }
  ComPtr<IDXGIDevice> dxgiDevice;
  ComPtr<IDXGIAdapter> adapter;
  DXGI_ADAPTER_DESC description{};
  if (FAILED(device.As(&dxgiDevice)) || FAILED(dxgiDevice->GetAdapter(&adapter)) ||
      FAILED(adapter->GetDesc(&description))) {
    return {};
  }
  // Some drivers do not tell their version; 0 then stands for all of them.
  LARGE_INTEGER driverVersion{};
  adapter->CheckInterfaceSupport(__uuidof(IDXGIDevice), &driverVersion);
  return FormatGpuKey(DescriptionUtf8(description), static_cast<uint64_t>(driverVersion.QuadPart));
}

}  // namespace talu
