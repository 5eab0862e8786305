#include "capture/cursor_image.h"

#include <limits>

namespace talu {
namespace {

constexpr size_t kBytesPerPixel = 4;
constexpr uint8_t kOpaque = 255;
constexpr uint32_t kLargestSide = std::numeric_limits<int32_t>::max();

struct Layout {
  size_t width;
  size_t height;  // of the image
  size_t pitch;
  size_t rowBytes;   // of the shape's bytes that one row needs
  size_t shapeRows;  // rows of the shape's bytes
};

Layout LayoutOf(const CursorShape& shape) {
  const size_t width = shape.width;
  if (shape.type == kCursorMonochrome) {
    const size_t height = shape.height / 2;
    return {width, height, shape.pitch, (width + 7) / 8, 2 * height};
  }
  return {width, shape.height, shape.pitch, width * kBytesPerPixel, shape.height};
}

// Drivers have been seen to describe more than they deliver; that also bounds the image's size.
bool Fits(const Layout& layout, size_t byteCount) {
  if (layout.pitch < layout.rowBytes || byteCount < layout.rowBytes) {
    return false;
  }
  return layout.shapeRows - 1 <= (byteCount - layout.rowBytes) / layout.pitch;
}

void DrawColor(const Layout& layout, const uint8_t* bytes, bool keepAlpha, uint8_t* pixel) {
  for (size_t y = 0; y < layout.height; ++y) {
    const uint8_t* source = bytes + y * layout.pitch;
    for (size_t x = 0; x < layout.width; ++x) {
      pixel[0] = source[0];
      pixel[1] = source[1];
      pixel[2] = source[2];
      pixel[3] = keepAlpha ? source[3] : kOpaque;
      source += kBytesPerPixel;
      pixel += kBytesPerPixel;
    }
  }
}

bool BitAt(const uint8_t* row, size_t x) { return (row[x / 8] & (0x80 >> (x % 8))) != 0; }

void DrawMonochrome(const Layout& layout, const uint8_t* bytes, uint8_t* pixel) {
  const uint8_t* andRow = bytes;
  const uint8_t* xorRow = bytes + layout.height * layout.pitch;
  for (size_t y = 0; y < layout.height; ++y) {
    for (size_t x = 0; x < layout.width; ++x) {
      const bool keepsScreen = BitAt(andRow, x);
      const bool flips = BitAt(xorRow, x);
      if (!keepsScreen || flips) {
        const uint8_t shade = !keepsScreen && flips ? 255 : 0;
        pixel[0] = pixel[1] = pixel[2] = shade;
        pixel[3] = kOpaque;
      }
      pixel += kBytesPerPixel;
    }
    andRow += layout.pitch;
    xorRow += layout.pitch;
  }
}

}  // namespace

void ConvertCursorShape(const CursorShape& shape, std::span<const uint8_t> bytes,
                        CursorUpdate& cursor) {
  cursor.width = 0;
  cursor.height = 0;
  cursor.image.clear();
  const Layout layout = LayoutOf(shape);
  if (layout.width < 1 || layout.height < 1 || layout.pitch < 1) {
    return;
  }
  if (layout.width > kLargestSide || layout.height > kLargestSide || !Fits(layout, bytes.size())) {
    return;
  }
  cursor.width = static_cast<int32_t>(layout.width);
  cursor.height = static_cast<int32_t>(layout.height);
  cursor.hotSpotX = shape.hotSpotX;
  cursor.hotSpotY = shape.hotSpotY;
  cursor.image.resize(layout.width * layout.height * kBytesPerPixel);
  if (shape.type == kCursorMonochrome) {
    DrawMonochrome(layout, bytes.data(), cursor.image.data());
  } else if (shape.type == kCursorColor || shape.type == kCursorMaskedColor) {
    // The mask of masked colour shapes is not honoured: a viewer cannot invert what lies below.
    DrawColor(layout, bytes.data(), shape.type == kCursorColor, cursor.image.data());
  }
}

}  // namespace talu
