// A screen capturer in the hands of a test, linked in place of the real one (library
// fake_screen_capturer).
//
// Implements capture/screen_capturer.h and capture/desktop_repaint.h. The script is one for the
// process and outlives every capturer; any thread may call anything at any moment. After Reset the
// desktop is one screen, number 0, of 1280 x 720 at (0, 0), and every grab gives a new picture of
// the current screen's size.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/screen_records.h"

namespace talu {

class FakeCapture {
 public:
  static constexpr int kForever = -1;

  static FakeCapture& Get();

  // Everything as after the start of the process. Not while a capturer is being called.
  void Reset();

  // What EnumerateScreens gives. SelectOutput fails for an index that is not in it; a grab that
  // the script does not size has the size of the current screen's entry.
  void SetScreens(std::vector<ScreenInfo> screens);

  // The next calls fail, that many or kForever.
  void FailInits(int count);
  void FailSelects(int count);

  // What the coming grabs give, one after the other: a picture of that size, each pixel with the
  // bytes of bgra (blue lowest), or nothing new. When the script is used up, the default holds.
  void GiveFrame(int32_t width, int32_t height, uint32_t bgra = kDefaultPixel);
  void GiveNothing(int count = 1);
  // The default from now on: a new picture each time, or nothing new (a still desktop, access that
  // stays lost).
  void SetStill(bool still);

  // The next TakeCursorUpdate gives this; a later one replaces it if nobody took it.
  void GiveCursor(CursorUpdate update);

  // The next TakeReopening finds one.
  void GiveReopening();

  // Called by the grabbing thread at the start of each grab, outside of any lock, with the number
  // of the grab since Reset (from 1) and its time-out: lets a script act in the middle of a run.
  void OnGrab(std::function<void(int64_t grab, uint32_t timeoutMs)> hook);

  // Counters since Reset.
  int64_t Inits() const;
  int64_t Grabs() const;
  int64_t FramesGiven() const;
  int64_t Selects() const;
  int64_t Enumerations() const;
  int64_t Repaints() const;
  int64_t FreshStarts() const;
  // Capturers constructed and not yet destroyed.
  int64_t Alive() const;
  // Times that a second thread came in while another was inside Init, CaptureFrame, SelectOutput,
  // TakeCursorUpdate or the destructor: always a fault of the caller.
  int64_t Overlaps() const;
  // The output last opened with success.
  uint32_t CurrentOutput() const;

  // The first kCallsKept calls since Reset in their order: "Init 0", "CaptureFrame 50",
  // "SelectOutput 1", "EnumerateScreens", "TakeCursorUpdate", "ProvokeDesktopRepaint", "Destroy".
  std::vector<std::string> Calls() const;
  static constexpr size_t kCallsKept = 10000;

  static constexpr uint32_t kDefaultPixel = 0xFF404040u;
};

}  // namespace talu
