// Finds out, once per adapter and driver, whether encoding in hardware works on this machine.
#pragma once

#include <cstdint>

namespace talu {

// Takes the remembered verdict, or builds an encoder of its own for pictures of the given size,
// looks whether anything comes out of it and remembers the answer. The body of a detached thread
// that runs once per process; the process may end in its middle. Influences later encoders through
// hw_encoder_bad alone.
void RunHardwareEncoderSelfTest(int32_t width, int32_t height);

}  // namespace talu
