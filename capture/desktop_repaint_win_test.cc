#include "capture/desktop_repaint.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace talu {
namespace {

class ProvokeDesktopRepaintTest : public testing::Test {
 protected:
  void SetUp() override {
    window = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPED | WS_VISIBLE, 10, 10, 200, 100,
                             nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    Settle();
  }

  void TearDown() override { DestroyWindow(window); }

  // Everything drawn that asked for it.
  void Settle() {
    UpdateWindow(window);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      DispatchMessageW(&message);
    }
    ValidateRect(window, nullptr);
  }

  HWND window = nullptr;
};

TEST_F(ProvokeDesktopRepaintTest, HasWindowsDrawnAgain) {
  ASSERT_FALSE(GetUpdateRect(window, nullptr, FALSE));
  ProvokeDesktopRepaint();
  EXPECT_TRUE(GetUpdateRect(window, nullptr, FALSE));
}

TEST_F(ProvokeDesktopRepaintTest, LeavesThePointerWhereItWas) {
  const int width = GetSystemMetrics(SM_CXSCREEN);
  const int height = GetSystemMetrics(SM_CYSCREEN);
  const POINT places[] = {{0, 0}, {width / 2, height / 2}, {width - 1, height - 1}};
  for (const POINT& place : places) {
    ASSERT_TRUE(SetCursorPos(place.x, place.y));
    ProvokeDesktopRepaint();
    POINT now{};
    ASSERT_TRUE(GetCursorPos(&now));
    EXPECT_EQ(now.x, place.x);
    EXPECT_EQ(now.y, place.y);
  }
}

}  // namespace
}  // namespace talu
