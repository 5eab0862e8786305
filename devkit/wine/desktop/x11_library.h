// The functions of talu_desktop_x11.dll, and the connection to the X server that questions about
// the monitors go through.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "devkit/wine/desktop/x11_desktop.h"

namespace talu {

struct X11Library {
  decltype(&TaluOpenDesktop) open;
  decltype(&TaluCloseDesktop) close;
  decltype(&TaluListMonitors) listMonitors;
  decltype(&TaluWaitForChange) waitForChange;
  decltype(&TaluWakeDesktop) wake;
  decltype(&TaluTakeDamage) takeDamage;
  decltype(&TaluNewBuffer) newBuffer;
  decltype(&TaluFreeBuffer) freeBuffer;
  decltype(&TaluGrab) grab;
  decltype(&TaluReadCursor) readCursor;
  decltype(&TaluReadChangedFile) readChangedFile;
};

// Loaded at the first call, from the folder of this DLL, and kept until the process ends. Null when
// it is not there or not whole. Any thread.
const X11Library* LoadX11Library();

// The monitors as they are now, in the order of Windows' outputs; nothing when no X server answers.
// Any thread; the connection is kept for the next question and made anew when it was lost.
std::optional<std::vector<X11Monitor>> ListMonitors();

// An environment variable of this process; empty when it is not set.
std::string ReadEnvironment(const char* name);

}  // namespace talu
