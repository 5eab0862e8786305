// A desktop that only writes down what is injected, linked in place of user32 (library
// fake_injection).
//
// Implements input/injection.h. Any thread may inject; the rest is for the test alone. Starts, and
// starts over at Reset, with one 1920x1080 monitor at the origin, a keyboard layout that types
// nothing, and no refusals. Nothing is allocated for the first calls after Reset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "input/injection.h"

namespace talu {

class FakeInjection {
 public:
  static void Reset();

  // Every event since Reset as text, such as "mouse 0xC001 at 0,65535 data 0", "key 65 flags 0x2"
  // or "unit 233 flags 0x4".
  static std::vector<std::string> Events();
  // How many records each call had since Reset.
  static std::vector<size_t> CallSizes();
  static size_t MetricCalls();

  static void SetMetric(int metric, int32_t pixels);
  // The desktop as a whole: SetMetric for left, top, width and height.
  static void SetVirtualDesktop(int32_t left, int32_t top, int32_t width, int32_t height);
  // What KeyScan answers for this character.
  static void SetKeyScan(char character, uint16_t scan);
  // From now on nothing is inserted and the thread's error code is this.
  static void Refuse(uint32_t lastError);
};

}  // namespace talu
