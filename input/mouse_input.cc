#include "input/mouse_input.h"

#include "base/log.h"
#include "input/injection.h"

namespace talu {

LogBudget mouseLogCount{kLoggedMouseInjections};

namespace {

constexpr uint32_t kAt = kMouseVirtualDesk | kMouseAbsolute;
constexpr uint32_t kMoveTo = kMouseMove | kAt;
constexpr uint32_t kWheelUnitsPerNotch = 120;

struct Button {
  std::string_view name;
  uint32_t downFlag;
  uint32_t upFlag;
  uint32_t data;
};

constexpr Button kLeft{"left", kMouseLeftDown, kMouseLeftUp, 0};
constexpr Button kOtherButtons[] = {
    {"right", kMouseRightDown, kMouseRightUp, 0},
    {"middle", kMouseMiddleDown, kMouseMiddleUp, 0},
    {"x1", kMouseXDown, kMouseXUp, kXButton1},
    {"x2", kMouseXDown, kMouseXUp, kXButton2},
};

const Button& ButtonNamed(std::string_view name) {
  for (const Button& button : kOtherButtons) {
    if (button.name == name) {
      return button;
    }
  }
  return kLeft;
}

}  // namespace

void SendMouse(uint32_t flags, int32_t dx, int32_t dy, uint32_t data) {
  const InputRecord record = InputRecord::Mouse(flags, dx, dy, data);
  const InjectionResult result = InjectInput({&record, 1});
  if (!mouseLogCount.Take()) {
    return;
  }
  const bool blocked = result.inserted == 0;
  LogPrintf("[agent] SendInput mouse flags=0x%04lX abs=(%d,%d) -> %u%s\n",
            static_cast<unsigned long>(flags), dx, dy, result.inserted,
            blocked ? " BLOCKED(GetLastError)" : "");
  if (blocked) {
    LogPrintf("[agent] SendInput lastError=%lu\n", static_cast<unsigned long>(result.lastError));
  }
}

void MouseMove(const ScreenRect& rect, int32_t x, int32_t y) {
  const AbsolutePoint point = MapToAbsolute(rect, x, y);
  SendMouse(kMoveTo, point.x, point.y, 0);
}

void MouseButton(const ScreenRect& rect, std::string_view button, bool down, int32_t x, int32_t y) {
  const AbsolutePoint point = MapToAbsolute(rect, x, y);
  const Button& chosen = ButtonNamed(button);
  SendMouse(kMoveTo | (down ? chosen.downFlag : chosen.upFlag), point.x, point.y, chosen.data);
}

void MouseWheel(const ScreenRect& rect, int32_t x, int32_t y, int32_t deltaY) {
  const AbsolutePoint point = MapToAbsolute(rect, x, y);
  // Unsigned, so that absurd step counts wrap instead of overflowing.
  const uint32_t data = 0 - kWheelUnitsPerNotch * static_cast<uint32_t>(deltaY);
  SendMouse(kMouseWheel | kAt, point.x, point.y, data);
}

}  // namespace talu
