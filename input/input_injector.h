// The controller's mouse, keys and text, injected into the desktop.
//
// Owned by the push session. Any thread may call any function at any moment; events that arrive on
// several threads are injected in whatever order those threads run.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/gate.h"
#include "input/screen_rect.h"

namespace talu {

class InputInjector {
 public:
  InputInjector() = default;
  InputInjector(const InputInjector&) = delete;
  InputInjector& operator=(const InputInjector&) = delete;

  // The captured screen, in desktop pixels; the controller's coordinates count from its corner.
  // With a width or height below 1 the primary screen's is taken.
  void SetScreenRect(int32_t width, int32_t height, int32_t left, int32_t top);

  // Decodes and injects one event. False when its type is missing or unknown; true otherwise, also
  // when a field was missing or the system refused the injection.
  bool HandleEvent(std::string_view body);

  // Releases the left, right and middle button, Shift, Ctrl, Alt and both Windows keys, whether or
  // not they are down: what can leave a desktop stuck after its controller has gone.
  void ReleaseAll();

 private:
  ScreenRect CurrentRect();

  // Guards screenRect: events pass through, SetScreenRect closes it.
  Gate rectGate;
  ScreenRect screenRect;
};

}  // namespace talu
