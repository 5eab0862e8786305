// Where the captured screen lies on the desktop.
#pragma once

#include <cstdint>

namespace talu {

// Desktop pixels. A width or height below 1 is unknown.
struct ScreenRect {
  int32_t width = 0;
  int32_t height = 0;
  int32_t left = 0;
  int32_t top = 0;

  friend bool operator==(const ScreenRect&, const ScreenRect&) = default;
};

}  // namespace talu
