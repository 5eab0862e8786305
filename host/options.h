// The command line.
#pragma once

#include <cstdint>

#include "base/host_config.h"

namespace talu {

// How long the credentials are taken to be valid when the command line does not say.
constexpr int64_t kDefaultValidityMs = 7'200'000;

// Reads the six options, each a name followed by its value as the next argument. Unknown arguments,
// repetitions and a name without a value are skipped silently. nowMs is the current time in
// milliseconds since 1970 UTC, from which the default expiry counts.
HostConfig ParseOptions(int argumentCount, const char* const* arguments, int64_t nowMs);

// False when an option is missing or empty that no session can be started without.
bool HasRequiredOptions(const HostConfig& config);

}  // namespace talu
