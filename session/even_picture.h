// Pictures as the encoder takes them: with even sides.
//
// H.264 with 4:2:0 chroma has one chroma sample for two pixels each way. Of an odd picture the last
// column or row is left out. Used by the stream thread alone.
#pragma once

#include <cstdint>
#include <vector>

#include "capture/screen_capturer.h"

namespace talu {

constexpr int32_t EvenSide(int32_t side) { return side & ~1; }

class EvenPicture {
 public:
  // The frame's pixels as EvenSide(width) x EvenSide(height) BGRA rows without padding. The frame's
  // own pixels where the width is even; else a copy in this object, valid until the next call.
  const uint8_t* Pixels(const CapturedFrame& frame);

 private:
  std::vector<uint8_t> cropped;
};

}  // namespace talu
