// From the capturer's BGRA pictures to the encoder's NV12: BT.601, limited range.
//
// Plain functions without state, called by any thread. The picture is width x height pixels of 4
// bytes (blue, green, red, alpha, which is ignored), rows top to bottom without padding. NV12 is
// height rows of width luma bytes, then one row of width bytes for every two picture rows with the
// chroma as Cb, Cr, Cb, Cr... Chroma is taken from the top-left pixel of each 2 x 2 block alone.
#pragma once

#include <cstddef>
#include <cstdint>

namespace talu {

// The bytes that NV12 of an even size takes, rounded down for odd ones. Sizes below 1 take none.
constexpr size_t Nv12Size(int32_t width, int32_t height) {
  if (width < 1 || height < 1) {
    return 0;
  }
  return static_cast<size_t>(width) * static_cast<size_t>(height) * 3 >> 1;
}

// The bytes that ConvertBgraToNv12 may touch, from the start of the output. The same as Nv12Size
// for even sizes. With an odd height the last picture row still has a chroma row, and with an odd
// width the last Cr of a chroma row is one byte past the row's end, so odd sizes take more.
constexpr size_t Nv12Capacity(int32_t width, int32_t height) {
  if (width < 1 || height < 1) {
    return 0;
  }
  const size_t columns = static_cast<size_t>(width);
  const size_t rows = static_cast<size_t>(height);
  return columns * rows + columns * ((rows + 1) / 2) + (columns & 1);
}

// Converts one picture. nv12 must have room for Nv12Capacity(width, height) bytes; nothing outside
// them is written, and nothing at all for a width or height below 1. The two buffers must not
// overlap.
void ConvertBgraToNv12(const uint8_t* bgra, int32_t width, int32_t height, uint8_t* nv12);

}  // namespace talu
