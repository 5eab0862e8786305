// The library that the boundary's tests run against: linked in, or loaded as the DLL that it is.
#pragma once

#include "base/stream_sdk.h"

namespace talu::loopback {

// All eight entries are set, or the module could not be loaded and all are null.
StreamSdk LibraryUnderTest();

// Seen by the library's next tcar_global_init; an empty value removes the variable.
void SetVariable(const char* name, const char* value);

}  // namespace talu::loopback
