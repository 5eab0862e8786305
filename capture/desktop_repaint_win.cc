#include <windows.h>

#include "capture/desktop_repaint.h"

namespace talu {
namespace {

// One pixel to the side and back again, so that the pointer ends where it was. To the left at the
// desktop's right edge, where a step to the right would not move it.
void NudgePointer() {
  POINT was{};
  if (!GetCursorPos(&was)) {
    return;
  }
  const int rightEdge = GetSystemMetrics(SM_XVIRTUALSCREEN) + GetSystemMetrics(SM_CXVIRTUALSCREEN);
  const int aside = was.x + 1 < rightEdge ? was.x + 1 : was.x - 1;
  if (SetCursorPos(aside, was.y)) {
    // Fails only where the step aside would have failed as well.
    SetCursorPos(was.x, was.y);
  }
}

// A move of nothing: it changes nothing on the desktop, but a monitor that sleeps wakes up from it,
// and nothing is composed for a monitor that sleeps.
void WakeMonitors() {
  INPUT move{};
  move.type = INPUT_MOUSE;
  move.mi.dwFlags = MOUSEEVENTF_MOVE;
  // Refused while a secure desktop is shown, which is drawn anyway.
  SendInput(1, &move, sizeof(move));
}

}  // namespace

// Windows drawn again alone may not do: the compositor keeps what a window drew, and drops what did
// not change. A pointer that moved always counts as something new.
void ProvokeDesktopRepaint() {
  WakeMonitors();
  // Fails only where there is no desktop to draw.
  RedrawWindow(nullptr, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN);
  NudgePointer();
}

}  // namespace talu
