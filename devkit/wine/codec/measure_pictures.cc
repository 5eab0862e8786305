#include "devkit/wine/codec/measure_pictures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

namespace talu {
namespace {

constexpr int kPicturesPerScene = 60;
constexpr int kGlyphWidth = 8;
constexpr int kGlyphHeight = 12;
constexpr int kLineHeight = 14;
constexpr uint8_t kPaper = 235;
constexpr uint8_t kInk = 30;

uint32_t Scatter(uint32_t a, uint32_t b) {
  uint32_t mixed = (a * 7919u + b * 104729u) * 2654435761u;
  return mixed ^ (mixed >> 15);
}

bool InkAt(uint32_t glyph, int x, int y) {
  if (x >= kGlyphWidth - 2) return false;
  const bool stroke = x == 1 || y % 6 == 2;
  return Scatter(glyph, static_cast<uint32_t>(y * kGlyphWidth + x)) % 8 < (stroke ? 6u : 1u);
}

// Every third line is empty, words and lines end at different columns.
uint8_t TextAt(int x, int y) {
  const int line = y / kLineHeight;
  const int column = x / kGlyphWidth;
  const int row = y % kLineHeight;
  if (row >= kGlyphHeight || line % 3 == 0 || column % 80 < 8 || column % 80 > 50 + line % 20) {
    return kPaper;
  }
  const uint32_t glyph = Scatter(static_cast<uint32_t>(line), static_cast<uint32_t>(column));
  return glyph % 5 != 0 && InkAt(glyph % 64, x % kGlyphWidth, row) ? kInk : kPaper;
}

uint8_t FilmAt(int x, int y, int index) {
  const uint32_t grain =
      Scatter(static_cast<uint32_t>(y * kMeasureWidth + x), static_cast<uint32_t>(index)) % 5;
  return static_cast<uint8_t>(128 + 50 * std::sin((x + index * 4) * 0.03) +
                              40 * std::cos((y - index * 2) * 0.05 + x * 0.01) + grain);
}

Scene MakeScene(const char* name, const std::function<uint8_t(int, int, int)>& lumaAt) {
  Scene scene = {name, {}};
  const size_t pixels = static_cast<size_t>(kMeasureWidth) * kMeasureHeight;
  for (int index = 0; index < kPicturesPerScene; ++index) {
    std::vector<uint8_t> picture(pixels * 3 / 2, 128);
    for (int y = 0; y < kMeasureHeight; ++y) {
      for (int x = 0; x < kMeasureWidth; ++x) {
        picture[static_cast<size_t>(y) * kMeasureWidth + x] = lumaAt(x, y, index);
      }
    }
    scene.pictures.push_back(std::move(picture));
  }
  return scene;
}

double Quantile(std::vector<double>& values, double share) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(share * static_cast<double>(values.size() - 1))];
}

}  // namespace

std::vector<Scene> MeasureScenes() {
  std::vector<Scene> scenes;
  scenes.push_back(MakeScene("still", [](int x, int y, int) { return TextAt(x, y); }));
  scenes.push_back(MakeScene("half scrolls", [](int x, int y, int index) {
    return TextAt(x, x < kMeasureWidth / 2 ? y : y + index * 3);
  }));
  scenes.push_back(MakeScene("half a film", [](int x, int y, int index) {
    return x < kMeasureWidth / 2 ? TextAt(x, y) : FilmAt(x, y, index);
  }));
  return scenes;
}

std::string MeasureLine(const char* way, const char* scene, double cpuMs,
                        std::vector<double> wallMs, size_t bytes) {
  char line[200];
  const auto count = static_cast<double>(wallMs.size());
  std::snprintf(line, sizeof line,
                "%-22s %-13s %6.2f ms CPU a picture; in to out %6.2f ms median, %6.2f ms 95%%, "
                "%6.2f ms most; %5.0f kbit/s\n",
                way, scene, cpuMs / count, Quantile(wallMs, 0.5), Quantile(wallMs, 0.95),
                Quantile(wallMs, 1.0), static_cast<double>(bytes) * 8 * kMeasureFps / count / 1000);
  return line;
}

}  // namespace talu
