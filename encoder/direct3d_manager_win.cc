#include "encoder/direct3d_manager_win.h"

#include <d3d10.h>

#include "base/log.h"
#include "base/system_calls_win.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

constexpr D3D_FEATURE_LEVEL kFeatureLevels[] = {D3D_FEATURE_LEVEL_11_1, D3D_FEATURE_LEVEL_11_0,
                                                D3D_FEATURE_LEVEL_10_1, D3D_FEATURE_LEVEL_10_0};

bool Worked(HRESULT result, const char* call) {
  if (FAILED(result)) {
    LogPrintf("[agent] %s 失败 0x%08lX\n", call, static_cast<unsigned long>(result));
    return false;
  }
  return true;
}

bool CreateDevice(EncoderState& state) {
  ComPtr<ID3D11DeviceContext> context;
  const HRESULT result = System().D3d11CreateDevice(
      nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr,
      D3D11_CREATE_DEVICE_VIDEO_SUPPORT | D3D11_CREATE_DEVICE_BGRA_SUPPORT, kFeatureLevels,
      ARRAYSIZE(kFeatureLevels), D3D11_SDK_VERSION, state.d3d_device.ReleaseAndGetAddressOf(),
      nullptr, &context);
  return Worked(result, "D3D11CreateDevice");
}

// The transform uses the device on threads of its own. A device without this interface is given to
// it all the same: should it then fail, the encoder falls back to software.
void ProtectFromThreads(ID3D11Device& device) {
  ComPtr<ID3D10Multithread> multithread;
  if (SUCCEEDED(device.QueryInterface(IID_PPV_ARGS(&multithread)))) {
    multithread->SetMultithreadProtected(TRUE);
  }
}

bool CreateManager(EncoderState& state) {
  return Worked(System().MfCreateDxgiDeviceManager(&state.reset_token,
                                                   state.dxgi_manager.ReleaseAndGetAddressOf()),
                "MFCreateDXGIDeviceManager") &&
         Worked(state.dxgi_manager->ResetDevice(state.d3d_device.Get(), state.reset_token),
                "ResetDevice");
}

}  // namespace

bool CreateDirect3dManager(EncoderState& state) {
  if (CreateDevice(state)) {
    ProtectFromThreads(*state.d3d_device.Get());
    if (CreateManager(state)) {
      return true;
    }
  }
  state.dxgi_manager.Reset();
  state.d3d_device.Reset();
  return false;
}

}  // namespace talu
