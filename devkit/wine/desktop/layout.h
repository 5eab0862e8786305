// From the X server's outputs to Windows' displays, by the rules that Wine follows itself, so that
// the numbers and rectangles given here are those that the rest of Wine gives.
#pragma once

#include <cstdint>
#include <vector>

#include "devkit/wine/desktop/x11_desktop.h"

namespace talu {

// One connector of the X server.
struct X11Output {
  uint32_t id;
  bool connected;
  // The picture it shows; an empty one when it is switched off.
  int32_t x, y, width, height;
};

// The monitors that show something, the primary first. Connected outputs that are switched off
// take a display number all the same. primaryId is 0 when the server names none.
std::vector<X11Monitor> ArrangeMonitors(const std::vector<X11Output>& outputs, uint32_t primaryId);

}  // namespace talu
