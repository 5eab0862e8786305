#include "devkit/wine/desktop/cursor_shape.h"

#include <algorithm>

namespace talu {

namespace {

struct Pixel {
  uint8_t blue, green, red, alpha;
};

Pixel StraightPixel(uint32_t argb) {
  const uint32_t alpha = argb >> 24;
  const auto straight = [alpha](uint32_t channel) {
    if (alpha == 0) return uint8_t{0};
    return static_cast<uint8_t>(std::min<uint32_t>((channel * 255 + alpha / 2) / alpha, 255));
  };
  return {straight(argb & 0xFF), straight((argb >> 8) & 0xFF), straight((argb >> 16) & 0xFF),
          static_cast<uint8_t>(alpha)};
}

bool IsOpaque(const Pixel& pixel) { return pixel.alpha >= 128; }

bool IsLight(const Pixel& pixel) { return pixel.red + pixel.green + pixel.blue >= 3 * 128; }

bool IsTwoColoured(const CursorImage& image) {
  return std::all_of(image.pixels.begin(), image.pixels.end(), [](uint32_t argb) {
    return (argb >> 24) == 0 || argb == 0xFF000000 || argb == 0xFFFFFFFF;
  });
}

// The beam over text is the pointer that Windows draws by inverting the screen. What the X server
// has of it is a narrow figure.
bool IsNarrow(const CursorImage& image) {
  int32_t left = image.width, right = 0, top = image.height, bottom = 0;
  for (int32_t y = 0; y < image.height; ++y) {
    for (int32_t x = 0; x < image.width; ++x) {
      if (!IsOpaque(StraightPixel(image.pixels[static_cast<size_t>(y) * image.width + x])))
        continue;
      left = std::min(left, x);
      right = std::max(right, x + 1);
      top = std::min(top, y);
      bottom = std::max(bottom, y + 1);
    }
  }
  return right > left && (right - left) * 5 <= (bottom - top) * 3;
}

CursorShape EmptyShape(const CursorImage& image, CursorKind kind) {
  CursorShape shape;
  shape.kind = kind;
  shape.width = static_cast<uint32_t>(image.width);
  shape.height = static_cast<uint32_t>(image.height);
  shape.pitch = shape.width * 4;
  shape.hotX = image.hotX;
  shape.hotY = image.hotY;
  return shape;
}

CursorShape ColorShape(const CursorImage& image) {
  CursorShape shape = EmptyShape(image, CursorKind::kColor);
  for (const uint32_t argb : image.pixels) {
    const Pixel pixel = StraightPixel(argb);
    shape.bytes.insert(shape.bytes.end(), {pixel.blue, pixel.green, pixel.red, pixel.alpha});
  }
  return shape;
}

CursorShape MaskedShape(const CursorImage& image) {
  CursorShape shape = EmptyShape(image, CursorKind::kMaskedColor);
  for (const uint32_t argb : image.pixels) {
    const Pixel pixel = StraightPixel(argb);
    if (IsOpaque(pixel)) {
      shape.bytes.insert(shape.bytes.end(), {pixel.blue, pixel.green, pixel.red, 0});
    } else {
      shape.bytes.insert(shape.bytes.end(), {0, 0, 0, 255});
    }
  }
  return shape;
}

CursorShape MonochromeShape(const CursorImage& image) {
  CursorShape shape = EmptyShape(image, CursorKind::kMonochrome);
  // Rows of Windows' masks are whole 16-bit words.
  shape.pitch = (shape.width + 15) / 16 * 2;
  shape.height *= 2;
  shape.bytes.assign(size_t{shape.pitch} * shape.height, 0);
  const bool inverts = IsNarrow(image);
  for (int32_t y = 0; y < image.height; ++y) {
    for (int32_t x = 0; x < image.width; ++x) {
      const Pixel pixel = StraightPixel(image.pixels[static_cast<size_t>(y) * image.width + x]);
      const bool inverted = IsOpaque(pixel) && !IsLight(pixel) && inverts;
      const bool keepsScreen = !IsOpaque(pixel) || inverted;
      const bool flips = inverted || (IsOpaque(pixel) && IsLight(pixel));
      const size_t at = static_cast<size_t>(y) * shape.pitch + static_cast<size_t>(x) / 8;
      const auto bit = static_cast<uint8_t>(0x80 >> (x % 8));
      if (keepsScreen) shape.bytes[at] |= bit;
      if (flips) shape.bytes[size_t{shape.pitch} * image.height + at] |= bit;
    }
  }
  return shape;
}

}  // namespace

CursorKind ParseCursorKind(std::string_view text) {
  if (text == "color") return CursorKind::kColor;
  if (text == "monochrome") return CursorKind::kMonochrome;
  if (text == "masked") return CursorKind::kMaskedColor;
  return CursorKind::kAutomatic;
}

bool IsHidden(const CursorImage& image) {
  return std::all_of(image.pixels.begin(), image.pixels.end(),
                     [](uint32_t argb) { return (argb >> 24) == 0; });
}

CursorShape ConvertCursor(const CursorImage& image, CursorKind kind) {
  if (kind == CursorKind::kAutomatic) {
    kind = IsTwoColoured(image) ? CursorKind::kMonochrome : CursorKind::kColor;
  }
  if (kind == CursorKind::kMonochrome) return MonochromeShape(image);
  if (kind == CursorKind::kMaskedColor) return MaskedShape(image);
  return ColorShape(image);
}

}  // namespace talu
