#include "capture/screen_list.h"

#include "base/utf8.h"

namespace talu {
namespace {

// Wraps instead of overflowing, whatever edges a driver reports.
int32_t Span(int32_t from, int32_t to) {
  return static_cast<int32_t>(static_cast<uint32_t>(to) - static_cast<uint32_t>(from));
}

}  // namespace

ScreenInfo DescribeScreen(uint32_t index, std::string_view name, int32_t left, int32_t top,
                          int32_t right, int32_t bottom) {
  ScreenInfo screen;
  screen.index = index;
  screen.name = WholeCharacters(name, kScreenNameBytes);
  screen.width = Span(left, right);
  screen.height = Span(top, bottom);
  screen.left = left;
  screen.top = top;
  screen.primary = left == 0 && top == 0;
  return screen;
}

}  // namespace talu
