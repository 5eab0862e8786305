#include "capture/graphics_device_win.h"

#include <iterator>
#include <string>

#include "base/system_calls_win.h"
#include "capture/screen_list.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

constexpr D3D_FEATURE_LEVEL kFeatureLevels[] = {D3D_FEATURE_LEVEL_11_1, D3D_FEATURE_LEVEL_11_0,
                                                D3D_FEATURE_LEVEL_10_1};

// UTF-8 takes at most this many bytes for one UTF-16 unit.
constexpr int kUtf8BytesPerUnit = 3;

HRESULT AdapterOf(ID3D11Device* device, ComPtr<IDXGIAdapter>& adapter) {
  ComPtr<IDXGIDevice> dxgiDevice;
  const HRESULT queried = device->QueryInterface(IID_PPV_ARGS(&dxgiDevice));
  return FAILED(queried) ? queried : dxgiDevice->GetAdapter(&adapter);
}

std::string NameOf(const DXGI_OUTPUT_DESC& output) {
  char name[CCHDEVICENAME * kUtf8BytesPerUnit];
  const int units = static_cast<int>(wcsnlen(output.DeviceName, CCHDEVICENAME));
  // 0, the empty name, where nothing can be converted.
  const int length = WideCharToMultiByte(CP_UTF8, 0, output.DeviceName, units, name,
                                         static_cast<int>(sizeof(name)), nullptr, nullptr);
  return std::string(name, static_cast<size_t>(length));
}

}  // namespace

HRESULT CreateGraphicsDevice(ComPtr<ID3D11Device>& device, ComPtr<ID3D11DeviceContext>& context) {
  return System().D3d11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, kFeatureLevels,
                                    static_cast<UINT>(std::size(kFeatureLevels)), D3D11_SDK_VERSION,
                                    device.ReleaseAndGetAddressOf(), nullptr,
                                    context.ReleaseAndGetAddressOf());
}

HRESULT OpenDuplication(ID3D11Device* device, uint32_t outputIndex,
                        ComPtr<IDXGIOutputDuplication>& duplication) {
  duplication.Reset();
  ComPtr<IDXGIAdapter> adapter;
  HRESULT result = AdapterOf(device, adapter);
  if (FAILED(result)) {
    return result;
  }
  ComPtr<IDXGIOutput> output;
  result = adapter->EnumOutputs(outputIndex, &output);
  if (FAILED(result)) {
    return result;
  }
  ComPtr<IDXGIOutput1> duplicable;
  result = output.As(&duplicable);
  if (FAILED(result)) {
    return result;
  }
  return duplicable->DuplicateOutput(device, &duplication);
}

std::vector<ScreenInfo> ListScreens(ID3D11Device* device) {
  ComPtr<IDXGIAdapter> adapter;
  if (FAILED(AdapterOf(device, adapter))) {
    return {};
  }
  std::vector<ScreenInfo> screens;
  ComPtr<IDXGIOutput> output;
  for (UINT index = 0; SUCCEEDED(adapter->EnumOutputs(index, output.ReleaseAndGetAddressOf()));
       ++index) {
    DXGI_OUTPUT_DESC description{};
    if (FAILED(output->GetDesc(&description)) || !description.AttachedToDesktop) {
      continue;
    }
    const RECT& edges = description.DesktopCoordinates;
    screens.push_back(DescribeScreen(index, NameOf(description), edges.left, edges.top, edges.right,
                                     edges.bottom));
  }
  return screens;
}

bool KnowsCurrentOutputs(ID3D11Device* device) {
  ComPtr<IDXGIAdapter> adapter;
  if (FAILED(AdapterOf(device, adapter))) {
    return true;
  }
  ComPtr<IDXGIFactory1> factory;
  return FAILED(adapter->GetParent(IID_PPV_ARGS(&factory))) || factory->IsCurrent();
}

}  // namespace talu
