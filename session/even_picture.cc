#include "session/even_picture.h"

#include <cstring>

namespace talu {

const uint8_t* EvenPicture::Pixels(const CapturedFrame& frame) {
  constexpr size_t kBytesPerPixel = 4;
  if (frame.width == EvenSide(frame.width)) {
    return frame.pixels;
  }
  const size_t fromPitch = static_cast<size_t>(frame.width) * kBytesPerPixel;
  const size_t toPitch = fromPitch - kBytesPerPixel;
  const auto rows = static_cast<size_t>(EvenSide(frame.height));
  cropped.resize(toPitch * rows);
  for (size_t row = 0; row < rows; ++row) {
    std::memcpy(cropped.data() + row * toPitch, frame.pixels + row * fromPitch, toPitch);
  }
  return cropped.data();
}

}  // namespace talu
