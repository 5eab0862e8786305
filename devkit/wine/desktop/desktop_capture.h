// The picture of one monitor, captured ahead.
//
// A thread of its own waits for the X server to tell of changes and grabs at once, so that whoever
// asks for a picture finds it lying ready. Owned by a duplication; the thread and the connection to
// the X server live as long as the capture, the memory of a picture as long as somebody holds it.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "devkit/wine/desktop/cursor_shape.h"
#include "devkit/wine/desktop/x11_library.h"

namespace talu {

// One grabbed picture: BGRX pixels, rows without padding. Nobody writes to it any more.
struct Picture {
  const uint8_t* pixels = nullptr;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t Pitch() const { return width * 4; }
};

using PicturePtr = std::shared_ptr<const Picture>;

// What has changed since the last one was taken.
struct CapturedDesktop {
  PicturePtr picture;
  // Performance-counter ticks; 0 when only the pointer changed.
  int64_t imageTicks = 0;
  // 0 when the pointer did not change.
  int64_t pointerTicks = 0;
  uint32_t grabs = 0;
  std::vector<X11Rect> changed;
  bool pointerVisible = false;
  // The shape's corner (not its hot spot), relative to the monitor.
  int32_t pointerX = 0;
  int32_t pointerY = 0;
  // Only when it is another one than was taken last.
  std::optional<CursorShape> shape;
};

class PictureStore;

class DesktopCapture {
 public:
  // The first picture is grabbed already when this returns. Null when the X server cannot be
  // reached, lacks what is needed, or no longer has this monitor.
  static std::unique_ptr<DesktopCapture> Start(const X11Monitor& monitor, CursorKind kind);
  ~DesktopCapture();
  DesktopCapture(const DesktopCapture&) = delete;
  DesktopCapture& operator=(const DesktopCapture&) = delete;

  enum class Outcome { kTaken, kTimeout, kLost };

  struct Wishes {
    uint32_t timeoutMs = 0;
    bool noFrames = false;
    bool hidePointer = false;
  };

  // Waits until something has changed and takes it. kLost once the monitors' layout has changed or
  // the X server is gone, for good. One thread at a time.
  Outcome Take(const Wishes& wishes, CapturedDesktop* desktop);

 private:
  DesktopCapture(const X11Monitor& monitor, CursorKind kind, std::shared_ptr<PictureStore> store);

  bool Begin();
  void Run();
  bool Handle(uint32_t changes);
  bool SameLayout();
  uint32_t GrabDelayMs();
  bool Grab();
  bool GrabInto(std::vector<X11Rect> changed);
  void ReadPointer();
  void Lose();

  bool HasNews(const Wishes& wishes) const;
  void TakePicture(CapturedDesktop* desktop);
  void TakePointer(const Wishes& wishes, CapturedDesktop* desktop);

  const X11Library* const library;
  const X11Monitor shown;
  const CursorKind cursorKind;
  const std::shared_ptr<PictureStore> store;
  std::vector<X11Monitor> layout;

  // The thread's own.
  bool damaged = false;
  CursorImage pointerImage;

  // What the thread hands over, under the lock.
  SRWLOCK lock = SRWLOCK_INIT;
  CONDITION_VARIABLE changedOrLost = CONDITION_VARIABLE_INIT;
  PicturePtr latest;
  std::vector<X11Rect> latestChanged;
  int64_t latestTicks = 0;
  // Grabs since the last that was taken.
  uint32_t latestGrabs = 0;
  bool lost = false;
  CursorShape pointer;
  bool pointerVisible = false;
  int32_t pointerX = 0;
  int32_t pointerY = 0;
  int64_t pointerTicks = 0;
  uint32_t pointerVersion = 0;
  bool thinksOfGrabbing = false;

  // The taker's own.
  std::optional<bool> takenVisible;
  uint32_t takenVersion = 0;

  std::atomic<bool> stopping = false;
  std::thread worker;
};

}  // namespace talu
