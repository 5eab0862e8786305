#include "session/encoder_slot.h"

namespace talu {

bool EncoderSlot::Replace(const std::function<bool(H264Encoder&)>& init) {
  GateClosing closing(gate);
  encoder.reset();
  auto built = std::make_unique<H264Encoder>();
  if (!init(*built)) {
    return false;
  }
  encoder = std::move(built);
  return true;
}

void EncoderSlot::Drop() {
  GateClosing closing(gate);
  encoder.reset();
}

bool EncoderSlot::SetBitrate(int32_t kbps) {
  GatePass pass(gate);
  if (!pass || encoder == nullptr) {
    return false;
  }
  encoder->SetBitrate(kbps);
  return true;
}

}  // namespace talu
