#include "input/input_injector.h"

#include <string>

#include "control/json_fields.h"
#include "input/event_fields.h"
#include "input/injection.h"
#include "input/key_input.h"
#include "input/key_map.h"
#include "input/mouse_input.h"
#include "input/text_input.h"

namespace talu {
namespace {

// A field's value, or 0 when it is missing.
int32_t IntOrZero(std::string_view body, std::string_view name) {
  int32_t value = 0;
  (void)RawFindInt(body, name, value);
  return value;
}

// A field's value, or nothing when it is missing.
std::string_view TextOrEmpty(std::string_view body, std::string_view name) {
  std::string_view value;
  (void)RawFindString(body, name, value);
  return value;
}

void HandleMouseMove(const ScreenRect& rect, std::string_view body) {
  int32_t x = 0;
  int32_t y = 0;
  if (RawFindInt(body, "x", x) && RawFindInt(body, "y", y)) {
    MouseMove(rect, x, y);
  }
}

void HandleMouseButton(const ScreenRect& rect, std::string_view body, bool down) {
  MouseButton(rect, TextOrEmpty(body, "button"), down, IntOrZero(body, "x"), IntOrZero(body, "y"));
}

void HandleMouseWheel(const ScreenRect& rect, std::string_view body) {
  MouseWheel(rect, IntOrZero(body, "x"), IntOrZero(body, "y"), IntOrZero(body, "deltaY"));
}

void HandleKey(std::string_view body, bool down) {
  uint16_t vk = VkFromHid(static_cast<uint32_t>(IntOrZero(body, "hid")));
  if (vk == 0) {
    vk = VkFromCode(TextOrEmpty(body, "code"), TextOrEmpty(body, "key"));
  }
  SendKey(vk, down);
}

void HandleText(std::string_view body) {
  std::string text;
  if (JsonFindString(body, "text", text)) {
    TypeText(text);
  }
}

}  // namespace

void InputInjector::SetScreenRect(int32_t width, int32_t height, int32_t left, int32_t top) {
  GateClosing closing(rectGate);
  screenRect = {width, height, left, top};
}

ScreenRect InputInjector::CurrentRect() {
  rectGate.Enter();
  const ScreenRect rect = screenRect;
  rectGate.Leave();
  return rect;
}

bool InputInjector::HandleEvent(std::string_view body) {
  std::string_view type;
  if (!RawFindString(body, "type", type)) {
    return false;
  }
  if (type == "reset") {
    ReleaseAll();
  } else if (type == "mousemove") {
    HandleMouseMove(CurrentRect(), body);
  } else if (type == "mousedown" || type == "mouseup") {
    HandleMouseButton(CurrentRect(), body, type == "mousedown");
  } else if (type == "mousewheel") {
    HandleMouseWheel(CurrentRect(), body);
  } else if (type == "keydown" || type == "keyup") {
    HandleKey(body, type == "keydown");
  } else if (type == "text") {
    HandleText(body);
  } else {
    return false;
  }
  return true;
}

void InputInjector::ReleaseAll() {
  for (const uint32_t button : {kMouseLeftUp, kMouseRightUp, kMouseMiddleUp}) {
    SendMouse(button, 0, 0, 0);
  }
  constexpr uint16_t kShift = 0x10;
  constexpr uint16_t kControl = 0x11;
  constexpr uint16_t kMenu = 0x12;
  constexpr uint16_t kLeftWindows = 0x5B;
  constexpr uint16_t kRightWindows = 0x5C;
  for (const uint16_t vk : {kShift, kControl, kMenu, kLeftWindows, kRightWindows}) {
    SendKey(vk, false);
  }
}

}  // namespace talu
