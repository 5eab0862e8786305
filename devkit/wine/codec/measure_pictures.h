// Desktops to measure encoders with: pages of text on which nothing, a scrolled half or a film
// moves.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace talu {

inline constexpr int kMeasureWidth = 1280;
inline constexpr int kMeasureHeight = 720;
inline constexpr int kMeasureFps = 30;
inline constexpr int kMeasureBitsPerSecond = 8'000'000;
inline constexpr int kMeasureKeyFrameInterval = 60;
// Each scene is gone through this often: 300 pictures in all.
inline constexpr int kMeasureRounds = 5;

struct Scene {
  const char* name;
  std::vector<std::vector<uint8_t>> pictures;  // NV12, 60 of them
};
std::vector<Scene> MeasureScenes();

// One line of the report. `wallMs` holds the time from picture in to unit out of each picture.
std::string MeasureLine(const char* way, const char* scene, double cpuMs,
                        std::vector<double> wallMs, size_t bytes);

}  // namespace talu
