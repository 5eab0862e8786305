// The Direct3D device that a hardware encoder transform works on.
#pragma once

#include "encoder/encoder_state_win.h"

namespace talu {

// Puts a new device and its manager into state. On failure logs what failed and leaves neither.
bool CreateDirect3dManager(EncoderState& state);

}  // namespace talu
