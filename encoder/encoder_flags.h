// What the whole process knows about encoding in hardware.
//
// Written by the main thread at start, the self-test and whoever encodes; read whenever an encoder
// is built. The flags guard no other data and a stale read means one more build with the old
// choice, so every access is relaxed.
#pragma once

#include <atomic>

#include "base/log_budget.h"

namespace talu {

// Hardware encoding is known not to work on this machine. Never cleared.
extern std::atomic<bool> hw_encoder_bad;

// The user wants the software encoder. Set once at start, by SetEncoderPreference.
extern std::atomic<bool> force_software_encoder;

// How often a picture that a transform refused may still be logged, over all encoders.
extern LogBudget sync_input_failures;
extern LogBudget async_input_failures;

// True when an encoder may be built on hardware.
bool HardwareAllowed();

void MarkHardwareBad();

}  // namespace talu
