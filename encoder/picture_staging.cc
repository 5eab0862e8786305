#include "encoder/picture_staging.h"

#include "capture/nv12.h"

namespace talu {

std::span<const uint8_t> StageNv12(const uint8_t* bgra, int32_t width, int32_t height,
                                   std::vector<uint8_t>& buffer) {
  buffer.resize(Nv12Capacity(width, height));
  ConvertBgraToNv12(bgra, width, height, buffer.data());
  return {buffer.data(), Nv12Size(width, height)};
}

}  // namespace talu
