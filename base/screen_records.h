// What the capture side tells the control side: monitors and the pointer's look.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace talu {

// One monitor of the default graphics adapter. Position and size in desktop pixels.
struct ScreenInfo {
  uint32_t index = 0;  // the adapter's output number; skipped outputs leave gaps
  std::string name;    // UTF-8, at most 63 bytes
  int32_t width = 0;
  int32_t height = 0;
  int32_t left = 0;
  int32_t top = 0;
  bool primary = false;  // exactly when left and top are 0
};

// The pointer's look. Sizes and hot spot in pixels, the image as BGRA rows without padding.
struct CursorUpdate {
  bool visible = false;
  int32_t width = 0;
  int32_t height = 0;
  int32_t hotSpotX = 0;
  int32_t hotSpotY = 0;
  std::vector<uint8_t> image;
};

}  // namespace talu
