#include "devkit/wine/desktop/layout.h"

#include <algorithm>
#include <utility>

namespace talu {

namespace {

bool Shows(const X11Output& output) {
  return output.connected && output.width > 0 && output.height > 0;
}

// The named primary; without one the monitor at the root's corner, or else the first.
size_t FindPrimary(const std::vector<X11Output>& outputs, uint32_t primaryId) {
  size_t first = outputs.size();
  size_t atCorner = outputs.size();
  for (size_t i = 0; i < outputs.size(); ++i) {
    if (!Shows(outputs[i])) continue;
    if (primaryId != 0 && outputs[i].id == primaryId) return i;
    if (atCorner == outputs.size() && outputs[i].x == 0 && outputs[i].y == 0) atCorner = i;
    if (first == outputs.size()) first = i;
  }
  return atCorner < outputs.size() ? atCorner : first;
}

}  // namespace

std::vector<X11Monitor> ArrangeMonitors(const std::vector<X11Output>& outputs, uint32_t primaryId) {
  std::vector<X11Output> connected;
  std::copy_if(outputs.begin(), outputs.end(), std::back_inserter(connected),
               [](const X11Output& output) { return output.connected; });
  const size_t primary = FindPrimary(connected, primaryId);
  if (primary == connected.size()) return {};
  // Wine swaps the two rather than moving the others up.
  std::swap(connected.front(), connected[primary]);

  std::vector<X11Monitor> monitors;
  const X11Output& origin = connected.front();
  for (size_t i = 0; i < connected.size() && monitors.size() < kX11MaxMonitors; ++i) {
    const X11Output& output = connected[i];
    if (!Shows(output)) continue;
    monitors.push_back({static_cast<int32_t>(i) + 1, output.x, output.y, output.width,
                        output.height, output.x - origin.x, output.y - origin.y});
  }
  return monitors;
}

}  // namespace talu
