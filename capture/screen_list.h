// How a monitor is described to the rest of the host.
//
// Plain functions without state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/screen_records.h"

namespace talu {

// The longest name that leaves the capturer, in bytes of UTF-8.
constexpr size_t kScreenNameBytes = 63;

// A monitor from its output number, its name (UTF-8; cut at a whole character where it is too long)
// and its edges on the virtual desktop in pixels, right and bottom outside of it.
ScreenInfo DescribeScreen(uint32_t index, std::string_view name, int32_t left, int32_t top,
                          int32_t right, int32_t bottom);

}  // namespace talu
