// Where a point of the captured screen lies on the whole desktop.
#pragma once

#include <cstdint>

#include "input/screen_rect.h"

namespace talu {

// 0 to 65535 spans the virtual desktop of all monitors.
struct AbsolutePoint {
  int32_t x;
  int32_t y;

  friend bool operator==(const AbsolutePoint&, const AbsolutePoint&) = default;
};

// x and y are pixels of the captured screen, moved to its nearest edge when outside. The system is
// asked for the desktop's extent each time, so that a new monitor layout counts at once. Any
// thread.
AbsolutePoint MapToAbsolute(const ScreenRect& rect, int32_t x, int32_t y);

}  // namespace talu
