#include "devkit/controller/stream_statistics.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>

namespace talu::controller {
namespace {

double Ms(int64_t us) { return static_cast<double>(us) / 1000; }

// Of a sorted, not empty list.
int64_t Quantile(const std::vector<int64_t>& sorted, double part) {
  return sorted[static_cast<size_t>(std::lround(part * static_cast<double>(sorted.size() - 1)))];
}

}  // namespace

void StreamStatistics::Add(const loopback::VideoHeader& header, size_t unitBytes,
                           int64_t arrivedUs) {
  if (frames == 0) {
    firstArrivalUs = arrivedUs;
  } else {
    const uint32_t missing = header.sequence - lastSequence - 1;
    if (missing != 0) ++gaps;
    lostUnits += missing;
    bytesAfterFirst += static_cast<int64_t>(unitBytes);
    longestIntervalUs = std::max(longestIntervalUs, arrivedUs - lastArrivalUs);
  }
  lastSequence = header.sequence;
  lastArrivalUs = arrivedUs;
  ++frames;
  if (header.keyFrame) ++keyFrames;
  bytes += static_cast<int64_t>(unitBytes);
  agesUs.push_back(arrivedUs - header.handedOverUs);
}

std::string StreamStatistics::Json() const {
  const double seconds = Ms(lastArrivalUs - firstArrivalUs) / 1000;
  const double fps = seconds > 0 ? static_cast<double>(frames - 1) / seconds : 0;
  const double kbps = seconds > 0 ? static_cast<double>(bytesAfterFirst) * 8 / 1000 / seconds : 0;
  std::vector<int64_t> sorted = agesUs;
  std::sort(sorted.begin(), sorted.end());
  if (sorted.empty()) sorted.push_back(0);
  char text[512];
  std::snprintf(text, sizeof text,
                "{\"frames\":%" PRId64 ",\"keyFrames\":%" PRId64 ",\"gaps\":%" PRId64
                ",\"lostUnits\":%" PRId64 ",\"bytes\":%" PRId64
                ",\"seconds\":%.3f,\"framesPerSecond\":%.2f,\"kbitPerSecond\":%.1f,"
                "\"longestIntervalMs\":%.1f,\"ageMs\":{\"min\":%.1f,\"median\":%.1f,\"p95\":%.1f,"
                "\"max\":%.1f}}",
                frames, keyFrames, gaps, lostUnits, bytes, seconds, fps, kbps,
                Ms(longestIntervalUs), Ms(sorted.front()), Ms(Quantile(sorted, 0.5)),
                Ms(Quantile(sorted, 0.95)), Ms(sorted.back()));
  return text;
}

}  // namespace talu::controller
