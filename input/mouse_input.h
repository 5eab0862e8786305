// Mouse events, one call to the system each. Any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/log_budget.h"
#include "input/pointer_map.h"
#include "input/screen_rect.h"

namespace talu {

// The first mouse injections of the process are logged; after that the log stays small.
constexpr uint32_t kLoggedMouseInjections = 20;
extern LogBudget mouseLogCount;

// Injects one event. flags and data as injection.h names them, dx and dy in the units that the
// flags say. A refusal is logged, within the budget, and not retried.
void SendMouse(uint32_t flags, int32_t dx, int32_t dy, uint32_t data);

// Moves to the point.
void MouseMove(const ScreenRect& rect, int32_t x, int32_t y);

// Moves to the point and presses or releases "left", "right", "middle", "x1" or "x2" there; any
// other name is the left button.
void MouseButton(const ScreenRect& rect, std::string_view button, bool down, int32_t x, int32_t y);

// Turns the wheel by deltaY notches, towards the user (down) when positive. The event carries the
// point without moving the pointer there.
void MouseWheel(const ScreenRect& rect, int32_t x, int32_t y, int32_t deltaY);

}  // namespace talu
