// From the X server's pointer picture to the three kinds of shape that desktop duplication gives.
//
// X knows premultiplied ARGB alone; Windows' programs show monochrome pointers too, whose pixels
// may invert the screen, and masked ones. Pointers that could be monochrome are made so, the others
// are colour shapes; a kind can be asked for instead.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace talu {

// The numbers are DXGI_OUTDUPL_POINTER_SHAPE_TYPE's.
enum class CursorKind : uint32_t { kAutomatic = 0, kMonochrome = 1, kColor = 2, kMaskedColor = 4 };

struct CursorImage {
  int32_t width = 0;
  int32_t height = 0;
  int32_t hotX = 0;
  int32_t hotY = 0;
  // Premultiplied ARGB words, rows without padding.
  std::vector<uint32_t> pixels;
};

// The fields of DXGI_OUTDUPL_POINTER_SHAPE_INFO with the shape's bytes: BGRA with straight alpha;
// BGR with a mask byte (0 replaces the screen's pixel, 255 XORs it); or an AND mask above an XOR
// mask, one bit a pixel, height counting both.
struct CursorShape {
  CursorKind kind = CursorKind::kColor;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t pitch = 0;
  int32_t hotX = 0;
  int32_t hotY = 0;
  std::vector<uint8_t> bytes;
};

// "color", "monochrome" or "masked"; anything else is automatic.
CursorKind ParseCursorKind(std::string_view text);

// True for a picture without a visible pixel, which is how X programs hide the pointer.
bool IsHidden(const CursorImage& image);

CursorShape ConvertCursor(const CursorImage& image, CursorKind kind);

}  // namespace talu
