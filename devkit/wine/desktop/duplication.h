// IDXGIOutputDuplication over a DesktopCapture, with the answers that Windows gives.
#pragma once

#include <d3d11.h>
#include <dxgi1_2.h>

#include "devkit/wine/desktop/x11_desktop.h"

namespace talu {

// Opens a duplication of the monitor for a D3D11 device. E_INVALIDARG for another kind of device
// and when this process duplicates the monitor already, E_ACCESSDENIED by a fault,
// DXGI_ERROR_UNSUPPORTED when the X server cannot be captured or no longer has this monitor. Any
// thread.
HRESULT OpenDuplication(const X11Monitor& monitor, IUnknown* device,
                        IDXGIOutputDuplication** duplication);

}  // namespace talu
