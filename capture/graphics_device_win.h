// What the capturer asks of the graphics device and its adapter.
//
// Free functions; the caller owns the objects. ListScreens may run on any thread while another uses
// the same device: it goes no further than DXGI, which is free-threaded.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi1_2.h>
#include <wrl/client.h>

#include <cstdint>
#include <vector>

#include "base/screen_records.h"

namespace talu {

// A device on the system's default adapter, and its immediate context. On failure both are null.
HRESULT CreateGraphicsDevice(Microsoft::WRL::ComPtr<ID3D11Device>& device,
                             Microsoft::WRL::ComPtr<ID3D11DeviceContext>& context);

// Duplication of the adapter's output of that index. On failure duplication is null.
HRESULT OpenDuplication(ID3D11Device* device, uint32_t outputIndex,
                        Microsoft::WRL::ComPtr<IDXGIOutputDuplication>& duplication);

// The outputs that belong to the desktop, in the adapter's order. Empty on failure.
std::vector<ScreenInfo> ListScreens(ID3D11Device* device);

// False when adapters or monitors came or went since the device was made: DXGI goes on telling the
// old state to whoever holds the old device.
bool KnowsCurrentOutputs(ID3D11Device* device);

}  // namespace talu
