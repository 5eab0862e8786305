// The X server as the desktop duplication needs it: the interface between the Windows side
// (d3d11.dll) and the Unix side (talu_desktop_x11, a Winelib library linked with XCB).
//
// Plain C with fixed-width integers and Windows' calling convention, so that a mingw program calls
// straight into code built by the native compiler. A desktop is one connection to the X server; one
// thread at a time waits on it, everything else may be called by any thread meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>

namespace talu {

// A monitor that shows a part of the desktop.
struct X11Monitor {
  // Which Windows display it is: 1 for \\.\DISPLAY1. The primary monitor is always 1.
  int32_t display;
  // On the X server's root window, in pixels.
  int32_t x, y, width, height;
  // On Windows' virtual desktop, whose origin is the primary monitor's corner.
  int32_t left, top;

  bool operator==(const X11Monitor&) const = default;
};

struct X11Rect {
  int32_t left, top, right, bottom;
};

// The pointer's picture as the X server has it.
struct X11Cursor {
  int32_t width, height;
  int32_t hotX, hotY;
  // Where the pointer is on the root window.
  int32_t x, y;
};

enum X11Change : uint32_t {
  kX11Damage = 1,
  kX11Cursor = 2,
  kX11Layout = 4,
  kX11Woken = 8,
  // The connection is gone; nothing but TaluCloseDesktop makes sense any more.
  kX11Lost = 16,
};

constexpr int32_t kX11MaxMonitors = 16;
constexpr int32_t kX11MaxRects = 64;
// Larger pointers are taken as hidden.
constexpr int32_t kX11MaxCursorSide = 256;

struct X11Desktop;
struct X11Buffer;

extern "C" {

// Connects to the server that DISPLAY names. Null when there is none, or when it lacks what the
// duplication needs (shared memory, the damage, fixes and randr extensions, 32-bit BGRX pixels).
// With watch 0 it only answers questions, and no changes are told.
[[gnu::ms_abi]] X11Desktop* TaluOpenDesktop(int32_t watch);
[[gnu::ms_abi]] void TaluCloseDesktop(X11Desktop* desktop);

// The monitors as the server has them now, in the order of Windows' outputs; their count, at most
// kX11MaxMonitors; negative when the connection is gone.
[[gnu::ms_abi]] int32_t TaluListMonitors(X11Desktop* desktop, X11Monitor* monitors);

// Waits until something has changed or TaluWakeDesktop was called, up to timeoutMs (negative is
// taken as 0). Returns X11Change bits, 0 at the end of the time. Damage is told once until it is
// taken.
[[gnu::ms_abi]] uint32_t TaluWaitForChange(X11Desktop* desktop, int32_t timeoutMs);
[[gnu::ms_abi]] void TaluWakeDesktop(X11Desktop* desktop);

// Takes what was drawn since the last call and lies within the area, relative to its corner: at
// most kX11MaxRects rectangles, joined into one when there are more. Returns their count; negative
// when the connection is gone. What is drawn from here on is told anew, so a picture grabbed after
// this call never goes stale unnoticed.
[[gnu::ms_abi]] int32_t TaluTakeDamage(X11Desktop* desktop, const X11Rect* area, X11Rect* rects);

// Memory shared with the server, for one picture. Null when it cannot be had. Freed before the
// desktop is closed.
[[gnu::ms_abi]] X11Buffer* TaluNewBuffer(X11Desktop* desktop, uint64_t size, uint8_t** pixels);
[[gnu::ms_abi]] void TaluFreeBuffer(X11Desktop* desktop, X11Buffer* buffer);

// Copies an area of the root window into the buffer, 4 bytes a pixel, rows without padding. The
// pointer is not in it. 0 when it failed, as it does for an area that is (no longer) on the
// desktop.
[[gnu::ms_abi]] int32_t TaluGrab(X11Desktop* desktop, X11Buffer* buffer, const X11Rect* area);

// The pointer's picture: premultiplied ARGB words, rows without padding; pixels has room for
// kX11MaxCursorSide squared. 0 when there is none.
[[gnu::ms_abi]] int32_t TaluReadCursor(X11Desktop* desktop, X11Cursor* cursor, uint32_t* pixels);

// Reads a small text file when it is another one than the stamp (three words, all 0 at first)
// tells. Returns the length, cut to capacity; -1 when it is unchanged, 0 when it cannot be read.
[[gnu::ms_abi]] int32_t TaluReadChangedFile(const char* path, uint64_t* stamp, char* text,
                                            int32_t capacity);

}  // extern "C"

}  // namespace talu
