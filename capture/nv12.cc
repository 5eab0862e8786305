#include "capture/nv12.h"

#include <algorithm>
#include <array>

#include "capture/nv12_paths.h"

namespace talu {
namespace {

constexpr size_t kBytesPerPixel = 4;

uint8_t Luma(int32_t blue, int32_t green, int32_t red) {
  const int32_t luma = ((66 * red + 129 * green + 25 * blue + 128) >> 8) + 16;
  return static_cast<uint8_t>(std::min(luma, 255));
}

// The division truncates toward zero; a shift would give one less for most colours below grey.
uint8_t Chroma(int32_t weighted) {
  return static_cast<uint8_t>(std::clamp((weighted + 128) / 256 + 128, 0, 255));
}

uint8_t Cb(int32_t blue, int32_t green, int32_t red) {
  return Chroma(112 * blue - 74 * green - 38 * red);
}

uint8_t Cr(int32_t blue, int32_t green, int32_t red) {
  return Chroma(112 * red - 94 * green - 18 * blue);
}

// The fastest last. A namespace's object, so that the choice is made before main.
const std::array<Nv12Path, 2> kPaths{
    {{"scalar", ConvertBgraToNv12Scalar}, {"avx2", ConvertBgraToNv12Avx2}}};
const size_t kUsablePaths = __builtin_cpu_supports("avx2") ? 2 : 1;

}  // namespace

std::span<const Nv12Path> Nv12Paths() { return std::span(kPaths).first(kUsablePaths); }

void ConvertBgraToNv12(const uint8_t* bgra, int32_t width, int32_t height, uint8_t* nv12) {
  kPaths[kUsablePaths - 1].convert(bgra, width, height, nv12);
}

void ConvertBgraToNv12Scalar(const uint8_t* bgra, int32_t width, int32_t height, uint8_t* nv12) {
  if (width < 1 || height < 1) {
    return;
  }
  const size_t columns = static_cast<size_t>(width);
  const size_t rows = static_cast<size_t>(height);
  uint8_t* luma = nv12;
  uint8_t* chroma = nv12 + columns * rows;
  for (size_t y = 0; y < rows; ++y) {
    const bool hasChroma = y % 2 == 0;
    ConvertRowTail(bgra, 0, columns, luma, hasChroma ? chroma : nullptr);
    bgra += columns * kBytesPerPixel;
    luma += columns;
    chroma += hasChroma ? columns : 0;
  }
}

void ConvertRowTail(const uint8_t* row, size_t from, size_t columns, uint8_t* luma,
                    uint8_t* chroma) {
  for (size_t x = from; x < columns; ++x) {
    const uint8_t* pixel = row + x * kBytesPerPixel;
    luma[x] = Luma(pixel[0], pixel[1], pixel[2]);
  }
  if (chroma == nullptr) {
    return;
  }
  for (size_t x = from + from % 2; x < columns; x += 2) {
    const uint8_t* pixel = row + x * kBytesPerPixel;
    chroma[x] = Cb(pixel[0], pixel[1], pixel[2]);
    chroma[x + 1] = Cr(pixel[0], pixel[1], pixel[2]);
  }
}

}  // namespace talu
