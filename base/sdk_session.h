// The library's session as the rooms below the push session see it: a way to send.
//
// Owned by the push session, which opens and closes it. Any thread may send at any moment, also
// while another one closes: Close waits for the calls under way, and later ones do nothing, so that
// the library is never given a session it has destroyed.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/gate.h"
#include "base/stream_sdk.h"

namespace talu {

class SdkSession {
 public:
  // Adopts a session that sdk created. sdk must outlive this object. A null handle leaves it
  // closed.
  void Open(const StreamSdk& sdk, SdkSessionHandle session);
  // Returns the session, now unused by every thread, for the caller to destroy; null when none was
  // open.
  SdkSessionHandle Close();

  bool IsOpen() const { return handle.load() != nullptr; }

  // Sends one control message. The library's result is of no use to anyone and is not examined.
  // False when no session is open.
  bool SendControlMessage(std::string_view body);

  // The library's result code, or nothing when no session is open.
  std::optional<int32_t> SendVideoFrame(const SdkVideoFrame& frame);

  // Announces the size of the captured screen in pixels.
  void SetScreenInfo(uint32_t width, uint32_t height);

 private:
  // Guards `handle` and `table` against Close.
  Gate gate;
  std::atomic<SdkSessionHandle> handle{nullptr};
  std::atomic<const StreamSdk*> table{nullptr};
};

}  // namespace talu
