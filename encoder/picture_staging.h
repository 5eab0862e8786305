// A captured picture on its way to the transform, as NV12 in system memory.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace talu {

// Converts a picture of width x height BGRA pixels into buffer, which is kept from picture to
// picture, and returns the NV12 bytes in it. Of odd sizes, which no caller should give, they are as
// many as rounded down; the buffer holds what the conversion writes past them.
std::span<const uint8_t> StageNv12(const uint8_t* bgra, int32_t width, int32_t height,
                                   std::vector<uint8_t>& buffer);

}  // namespace talu
