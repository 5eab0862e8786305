// What OpenH264 takes for each scene when it is called without Wine, with the transforms' settings.
#include <time.h>

#include <cstdio>

#include "devkit/wine/codec/codec_abi.h"
#include "devkit/wine/codec/measure_pictures.h"

namespace talu {
namespace {

double MillisecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

bool Measure(const Scene& scene) {
  const EncoderShape shape = {kMeasureWidth,
                              kMeasureHeight,
                              kMeasureFps,
                              1,
                              kMeasureBitsPerSecond,
                              kMeasureKeyFrameInterval,
                              kMeasureWidth * kMeasureHeight};
  void* encoder = TaluOpenEncoder(&shape);
  if (!encoder) return false;
  std::vector<double> wallMs;
  size_t bytes = 0;
  const double begin = MillisecondsOf(CLOCK_PROCESS_CPUTIME_ID);
  for (int round = 0; round < kMeasureRounds; ++round) {
    for (const std::vector<uint8_t>& picture : scene.pictures) {
      const double start = MillisecondsOf(CLOCK_MONOTONIC);
      CodedPicture coded = {};
      const auto index = static_cast<int64_t>(wallMs.size());
      if (TaluEncodePicture(encoder, picture.data(), kMeasureWidth, index * 1000 / kMeasureFps, 0,
                            &coded) != 0) {
        TaluCloseEncoder(encoder);
        return false;
      }
      wallMs.push_back(MillisecondsOf(CLOCK_MONOTONIC) - start);
      bytes += coded.size;
    }
  }
  const double cpuMs = MillisecondsOf(CLOCK_PROCESS_CPUTIME_ID) - begin;
  TaluCloseEncoder(encoder);
  std::fputs(MeasureLine("OpenH264 natively", scene.name, cpuMs, wallMs, bytes).c_str(), stdout);
  return true;
}

}  // namespace
}  // namespace talu

int main() {
  for (const talu::Scene& scene : talu::MeasureScenes()) {
    if (!talu::Measure(scene)) {
      std::fputs("measure_native: OpenH264 failed\n", stderr);
      return 1;
    }
  }
  return 0;
}
