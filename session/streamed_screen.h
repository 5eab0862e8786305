// The monitor being streamed: its capturer, its size, and the encoder that fits it.
//
// Owned by the push session. Opening, switching, adopting a size and building the encoder happen on
// one thread at a time: the stream thread while it runs, else the thread that starts the stream or
// switches the screen. Size, rates and the list of screens may be read, and rates changed, from any
// thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/sdk_session.h"
#include "base/session_flags.h"
#include "capture/screen_capturer.h"
#include "input/input_injector.h"
#include "session/encoder_slot.h"

namespace talu {

// Pixels.
struct PictureSize {
  int32_t width = 0;
  int32_t height = 0;

  bool operator==(const PictureSize&) const = default;
};

class StreamedScreen {
 public:
  StreamedScreen(SessionFlags& sessionFlags, SdkSession& librarySession, InputInjector& injector)
      : flags(sessionFlags), session(librarySession), input(injector) {}

  // Opens the first screen and waits for its first frame, about ten seconds at the most. False,
  // with a log line where the system refuses capture, when there is none.
  bool Open();

  // Points everything at another screen and tells the library and the controller; on failure the
  // current screen stays, and the controller is told that.
  void SwitchScreen(int32_t index);

  // Takes over the size of a frame that differs from the session's: the display's mode has changed,
  // or the monitor is rotated and its pictures lie on their side. Where the monitors were only
  // rearranged, clicks follow the one that is shown.
  void AdoptFrame(const CapturedFrame& frame);

  // What a subscriber asks for. Rates in kbit/s.
  void SetRates(int32_t newFps, int32_t newMaxKbps, int32_t newMinKbps);
  void SetFps(int32_t newFps) { fps.store(newFps); }
  void SetMinKbps(int32_t newMinKbps) { minKbps.store(newMinKbps); }
  // Reaches an encoder at once, also one whose stream is just beginning.
  void SetMaxKbps(int32_t newMaxKbps);

  // Builds the encoder for the session's size and rates. True when ready; Fps is then the rate it
  // settled on.
  bool BuildEncoder();
  void DropEncoder() { encoder.Drop(); }

  // A stream that has lost its encoder gets another attempt in the loop's next round.
  void RequestEncoder() { encoderWanted.store(true); }
  void BuildRequestedEncoder();

  // The encoder for pictures of the session's size; null when there is none.
  H264Encoder* Encoder() const { return encoder.Encoder(); }
  ScreenCapturer& Capturer() { return capturer; }
  PictureSize Size() const { return size.load(); }
  int32_t Fps() const { return fps.load(); }

  // Sends the list of screens to the controller.
  void SendScreens();

 private:
  bool WaitForFirstFrame();
  void ApplyMaxKbps();
  std::optional<ScreenInfo> FindScreen(uint32_t index);
  ScreenInfo DescribeScreen(uint32_t index);
  void FollowMonitor();
  void ApplySize(PictureSize newSize, int32_t left, int32_t top, bool rebuildEncoder);

  SessionFlags& flags;
  SdkSession& session;
  InputInjector& input;
  ScreenCapturer capturer;
  EncoderSlot encoder;
  std::atomic<PictureSize> size{PictureSize{}};
  std::atomic<int32_t> fps{30};
  std::atomic<int32_t> maxKbps{8000};
  std::atomic<int32_t> minKbps{2000};  // kept; the encoder runs at a constant rate
  std::atomic<bool> encoderWanted{false};
};

}  // namespace talu
