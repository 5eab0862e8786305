// Pictures of one monitor, through Direct3D 11 and DXGI desktop duplication.
//
// Owned by the push session. Capturing, switching and taking cursor updates happen on one thread at
// a time: the stream thread while it runs, else the thread that starts the session or switches the
// screen. EnumerateScreens and CurrentOutput may be called from any thread at any moment.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/screen_records.h"

namespace talu {

// One picture. The pixels are the capturer's: 4 bytes each in the order blue, green, red, alpha,
// rows top to bottom without padding, valid until the next capture. Invalid: null and 0 x 0.
struct CapturedFrame {
  const uint8_t* pixels = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  bool valid = false;
};

class ScreenCapturer {
 public:
  ScreenCapturer();
  ~ScreenCapturer();
  ScreenCapturer(const ScreenCapturer&) = delete;
  ScreenCapturer& operator=(const ScreenCapturer&) = delete;

  // Creates the device and opens duplication of the given output.
  bool Init(uint32_t outputIndex);

  // Waits up to timeoutMs for a new picture. Invalid when there is none; the last picture's pixels
  // then stay as they were. Access that was lost is opened again by the next call.
  CapturedFrame CaptureFrame(uint32_t timeoutMs);

  // Lets the next capture begin anew, which gives the whole desktop even where nothing has changed.
  void StartAfresh();

  // True once after access was opened again by itself. The monitors may have been rearranged then.
  bool TakeReopening();

  // Points the capturer at another output; on failure the previous one is opened again.
  bool SelectOutput(uint32_t index);
  uint32_t CurrentOutput() const;

  // The attached monitors in output order; empty without a device.
  std::vector<ScreenInfo> EnumerateScreens();

  // True once per change of the pointer's shape or visibility, or of the output.
  bool TakeCursorUpdate(CursorUpdate& update);

 private:
  struct CaptureDevice;
  std::unique_ptr<CaptureDevice> device;
};

}  // namespace talu
