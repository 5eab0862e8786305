// Pulls encoded units out of a transform and delivers them.
//
// Made for one Encode call, on its thread.
#pragma once

#include "encoder/encoder_state_win.h"
#include "encoder/h264_encoder.h"

namespace talu {

class OutputDrain {
 public:
  // Both must outlive the drain.
  OutputDrain(EncoderState& encoderState, const EncodedFrameCallback& sink);

  // Pulls at most one output sample and delivers it. A transform that asks for another output type
  // instead gets it; true when it did, so that output may be had now.
  bool DrainOne();

  // True when anything was delivered.
  bool Delivered() const { return delivered; }

 private:
  HRESULT PullOne();
  void Deliver(IMFSample& sample);

  EncoderState& state;
  const EncodedFrameCallback& onOutput;
  bool delivered = false;
};

}  // namespace talu
