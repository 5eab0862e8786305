// Who the default graphics adapter and its driver are.
#pragma once

#include <string>

namespace talu {

// The key under which this machine's hardware verdict is kept (see verdict_line.h), or empty when
// there is no hardware adapter. Creates a device for the time of the call; any thread.
std::string GpuIdentityKey();

}  // namespace talu
