// The pointer's picture: from the three kinds of shape that duplication delivers to BGRA.
//
// A plain function without state, used by the capturer on the capturing thread.
#pragma once

#include <cstdint>
#include <span>

#include "base/screen_records.h"

namespace talu {

// The kinds, numbered as DXGI numbers them.
constexpr uint32_t kCursorMonochrome = 1;
constexpr uint32_t kCursorColor = 2;
constexpr uint32_t kCursorMaskedColor = 4;

// What duplication says about a shape. Sizes and hot spot in pixels; pitch is the distance between
// two rows of the shape's bytes. A monochrome shape holds two masks one above the other, so its
// height is twice the pointer's.
struct CursorShape {
  uint32_t type = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t pitch = 0;
  int32_t hotSpotX = 0;
  int32_t hotSpotY = 0;
};

// Puts size, hot spot and image of the shape into cursor; its visible flag stays. A shape without a
// pixel, or one larger than the bytes that came with it, gives the empty image (0 x 0) and leaves
// the hot spot as it was. Pixels that would invert the screen become opaque black.
void ConvertCursorShape(const CursorShape& shape, std::span<const uint8_t> bytes,
                        CursorUpdate& cursor);

}  // namespace talu
