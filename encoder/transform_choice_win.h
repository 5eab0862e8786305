// Where encoder transforms come from.
#pragma once

#include <windows.h>

#include <mftransform.h>
#include <wrl/client.h>

namespace talu {

// The first hardware H.264 encoder, in the system's order, that can be activated; null when there
// is none.
Microsoft::WRL::ComPtr<IMFTransform> CreateHardwareTransform();

// The system's own software H.264 encoder; null when the system lacks it.
Microsoft::WRL::ComPtr<IMFTransform> CreateSoftwareTransform();

}  // namespace talu
