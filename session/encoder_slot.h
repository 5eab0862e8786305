// The encoder in use, held so that a bit-rate change can never touch one that is being replaced.
//
// Owned by the push session. Replace and Encoder are for the one thread that may change the stream:
// the stream thread while it runs, else the thread that starts or stops it. SetBitrate comes from
// any thread and never waits.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/gate.h"
#include "encoder/h264_encoder.h"

namespace talu {

class EncoderSlot {
 public:
  // Null when there is none.
  H264Encoder* Encoder() const { return encoder.get(); }

  // Destroys the old encoder, so that a card with room for one has it, then builds a new one with
  // init. False, and no encoder, when init fails.
  bool Replace(const std::function<bool(H264Encoder&)>& init);
  void Drop();

  // Passes a new rate to the encoder in use. False when there is none or it is being replaced; the
  // replacement then starts from the session's own rate.
  bool SetBitrate(int32_t kbps);

 private:
  Gate gate;
  std::unique_ptr<H264Encoder> encoder;
};

}  // namespace talu
