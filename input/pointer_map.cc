#include "input/pointer_map.h"

#include <algorithm>

#include "input/injection.h"

namespace talu {
namespace {

constexpr int64_t kAbsoluteMax = 65535;

// One axis. size and start are the captured screen's, virtualStart and virtualSize the desktop's.
int32_t MapAxis(int32_t at, int32_t size, int32_t start, int32_t virtualStart,
                int32_t virtualSize) {
  const int32_t extent = virtualSize < 1 ? size : virtualSize;
  const int64_t denominator = extent < 2 ? 1 : int64_t{extent} - 1;
  const int64_t inside = std::clamp(at, 0, size - 1);
  return static_cast<int32_t>((int64_t{start} + inside - virtualStart) * kAbsoluteMax /
                              denominator);
}

// The captured screen's size, or the primary's when that is unknown.
int32_t KnownSize(int32_t size, int primaryMetric) {
  return std::max(size < 1 ? SystemMetric(primaryMetric) : size, 1);
}

}  // namespace

AbsolutePoint MapToAbsolute(const ScreenRect& rect, int32_t x, int32_t y) {
  return {MapAxis(x, KnownSize(rect.width, kPrimaryWidthMetric), rect.left,
                  SystemMetric(kVirtualLeftMetric), SystemMetric(kVirtualWidthMetric)),
          MapAxis(y, KnownSize(rect.height, kPrimaryHeightMetric), rect.top,
                  SystemMetric(kVirtualTopMetric), SystemMetric(kVirtualHeightMetric))};
}

}  // namespace talu
