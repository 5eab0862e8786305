#include "capture/pixel_rows.h"

#include <algorithm>
#include <cstring>

namespace talu {

void ResizePixels(std::vector<uint8_t>& buffer, size_t byteCount) {
  const size_t capacity = buffer.capacity();
  if (byteCount > capacity) {
    buffer.reserve(std::max(byteCount, capacity + capacity / 2));
  }
  buffer.resize(byteCount);
}

void CopyRows(const uint8_t* source, size_t pitch, size_t rowBytes, size_t rows, uint8_t* target) {
  if (pitch == rowBytes) {
    std::memcpy(target, source, rowBytes * rows);
    return;
  }
  for (size_t row = 0; row < rows; ++row) {
    std::memcpy(target, source, rowBytes);
    source += pitch;
    target += rowBytes;
  }
}

}  // namespace talu
