// The outputs of the graphics adapter: the X server's monitors as they are now.
//
// Wine lists the monitors that there were when the program's device was made, follows their changes
// only after a while, and cannot duplicate them. These outputs ask the X server itself each time.
// Wine's own output of the same number does everything else that an output can.
#pragma once

#include <dxgi1_2.h>

namespace talu {

// Makes IDXGIAdapter::EnumOutputs of this adapter's class, for all its objects in the process, give
// these outputs. Without an X server it goes on giving Wine's. They are for listing and
// duplicating: Wine's swap chains do not take them as the target of full screen.
void InstallOutputs(IDXGIAdapter* adapter);

}  // namespace talu
