// The injector over the real user32: pointer, buttons, keys and text as a window gets them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "input/injection.h"
#include "input/input_injector.h"

namespace talu {
namespace {

using testing::ElementsAre;

constexpr wchar_t kClass[] = L"TaluInjectionTest";
constexpr int kWaitMs = 30'000;

// Dispatches this thread's messages until the condition holds; false when it never does.
bool PumpUntil(const std::function<bool()>& holds) {
  for (const ULONGLONG end = GetTickCount64() + kWaitMs; GetTickCount64() < end;) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    if (holds()) return true;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
  }
  return false;
}

// A foreground window that notes what the mouse does in it, with an edit control in focus.
class InjectionTest : public testing::Test {
 protected:
  void SetUp() override {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = Proc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = kClass;
    RegisterClassW(&windowClass);  // Refused when an earlier test has registered it.
    window = CreateWindowExW(WS_EX_TOPMOST, kClass, L"test", WS_POPUP | WS_VISIBLE, 0, 0, 400, 300,
                             nullptr, nullptr, windowClass.hInstance, nullptr);
    ASSERT_NE(window, nullptr) << "needs a display";
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    edit = CreateWindowExW(0, L"EDIT", L"",
                           WS_CHILD | WS_VISIBLE | ES_MULTILINE | ES_WANTRETURN | ES_AUTOVSCROLL,
                           200, 0, 200, 300, window, nullptr, windowClass.hInstance, nullptr);
    ASSERT_NE(edit, nullptr);
    SetForegroundWindow(window);
    SetFocus(edit);
    ASSERT_TRUE(PumpUntil([&] { return GetForegroundWindow() == window && GetFocus() == edit; }));
    injector.SetScreenRect(GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN), 0, 0);
  }

  void TearDown() override { DestroyWindow(window); }

  static LRESULT CALLBACK Proc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    auto* const test = reinterpret_cast<InjectionTest*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (test != nullptr) test->Note(message, wparam, lparam);
    return DefWindowProcW(window, message, wparam, lparam);
  }

  void Note(UINT message, WPARAM wparam, LPARAM) {
    const auto button = [&] { return std::to_string(GET_XBUTTON_WPARAM(wparam)); };
    switch (message) {
      case WM_LBUTTONDOWN:
        noted.push_back("left down");
        break;
      case WM_LBUTTONUP:
        noted.push_back("left up");
        break;
      case WM_RBUTTONDOWN:
        noted.push_back("right down");
        break;
      case WM_RBUTTONUP:
        noted.push_back("right up");
        break;
      case WM_MBUTTONDOWN:
        noted.push_back("middle down");
        break;
      case WM_MBUTTONUP:
        noted.push_back("middle up");
        break;
      case WM_XBUTTONDOWN:
        noted.push_back("x" + button() + " down");
        break;
      case WM_XBUTTONUP:
        noted.push_back("x" + button() + " up");
        break;
      case WM_MOUSEWHEEL:
        noted.push_back("wheel " + std::to_string(GET_WHEEL_DELTA_WPARAM(wparam)));
        break;
      default:
        break;
    }
  }

  std::wstring Typed() const {
    std::wstring text(4096, L'\0');
    text.resize(
        static_cast<size_t>(GetWindowTextW(edit, text.data(), static_cast<int>(text.size()))));
    return text;
  }

  void ExpectTyped(const std::wstring& expected) {
    EXPECT_TRUE(PumpUntil([&] { return Typed() == expected; })) << testing::PrintToString(Typed());
  }

  // Pixels between the pointer and a point of the desktop, along the longer way.
  static long DistanceFrom(long x, long y) {
    POINT at{};
    GetCursorPos(&at);
    return std::max(std::labs(at.x - x), std::labs(at.y - y));
  }

  void ExpectPointerAt(long x, long y) {
    EXPECT_TRUE(PumpUntil([&] { return DistanceFrom(x, y) <= 1; }))
        << x << "," << y << " is missed by " << DistanceFrom(x, y);
  }

  bool Inject(const std::string& body) { return injector.HandleEvent(body); }

  void InjectButton(const std::string& type, const std::string& button) {
    EXPECT_TRUE(
        Inject("{\"type\":\"" + type + "\",\"button\":\"" + button + "\",\"x\":100,\"y\":100}"));
  }

  void InjectKey(const std::string& type, int hid) {
    EXPECT_TRUE(
        Inject("{\"type\":\"" + type + "\",\"hid\":" + std::to_string(0x70000 + hid) + "}"));
  }

  HWND window = nullptr;
  HWND edit = nullptr;
  std::vector<std::string> noted;
  InputInjector injector;
};

TEST_F(InjectionTest, MovesThePointer) {
  for (const POINT point : {POINT{0, 0}, POINT{300, 200}, POINT{17, 151}, POINT{639, 479}}) {
    EXPECT_TRUE(Inject("{\"type\":\"mousemove\",\"x\":" + std::to_string(point.x) +
                       ",\"y\":" + std::to_string(point.y) + "}"));
    ExpectPointerAt(point.x, point.y);
  }
}

TEST_F(InjectionTest, MovesThePointerOnAnotherMonitor) {
  const int primaryWidth = GetSystemMetrics(SM_CXSCREEN);
  if (GetSystemMetrics(SM_CXVIRTUALSCREEN) < primaryWidth + 400) {
    GTEST_SKIP() << "one monitor";
  }
  injector.SetScreenRect(400, 400, primaryWidth, 0);
  EXPECT_TRUE(Inject(R"({"type":"mousemove","x":123,"y":45})"));
  ExpectPointerAt(primaryWidth + 123, 45);
}

TEST_F(InjectionTest, PressesAndReleasesEveryButton) {
  for (const char* button : {"left", "right", "middle", "x1", "x2"}) {
    InjectButton("mousedown", button);
    InjectButton("mouseup", button);
  }
  PumpUntil([&] { return noted.size() >= 10; });
  EXPECT_THAT(noted, ElementsAre("left down", "left up", "right down", "right up", "middle down",
                                 "middle up", "x1 down", "x1 up", "x2 down", "x2 up"));
  ExpectPointerAt(100, 100);
}

TEST_F(InjectionTest, TurnsTheWheelByNotches) {
  SetFocus(window);
  EXPECT_TRUE(Inject(R"({"type":"mousemove","x":100,"y":100})"));
  ExpectPointerAt(100, 100);
  EXPECT_TRUE(Inject(R"({"type":"mousewheel","x":100,"y":100,"deltaY":1})"));
  EXPECT_TRUE(Inject(R"({"type":"mousewheel","x":100,"y":100,"deltaY":-3})"));
  PumpUntil([&] { return noted.size() >= 2; });
  EXPECT_THAT(noted, ElementsAre("wheel -120", "wheel 360"));
}

TEST_F(InjectionTest, TypesKeysIntoAnEditControl) {
  constexpr int kShift = 225;
  for (const int hid : {11, 8, 15, 15, 18}) {
    InjectKey("keydown", hid);
    InjectKey("keyup", hid);
  }
  InjectKey("keydown", kShift);
  InjectKey("keydown", 30);
  InjectKey("keyup", 30);
  InjectKey("keyup", kShift);
  ExpectTyped(L"hello!");
}

TEST_F(InjectionTest, TypesUnicodeTextIntoAnEditControl) {
  EXPECT_TRUE(Inject(R"({"type":"text","text":"Grüße, 剪贴板 \ud83d\ude00!\r\nsecond\nthird"})"));
  ExpectTyped(L"Grüße, 剪贴板 \xD83D\xDE00!\r\nsecond\r\nthird");
}

TEST_F(InjectionTest, ReleaseAllLetsGoOfWhatIsHeld) {
  const auto isDown = [](int vk) { return (GetAsyncKeyState(vk) & 0x8000) != 0; };
  const std::vector<int> kHeld = {VK_CONTROL, VK_SHIFT, VK_MENU, VK_RBUTTON};
  // Pressed again until they stay down: Wine lets go of what the X server's own keyboard does not
  // hold whenever a window comes under the pointer.
  EXPECT_TRUE(PumpUntil([&] {
    for (const int hid : {224, 225, 226}) InjectKey("keydown", hid);
    InjectButton("mousedown", "right");
    return std::all_of(kHeld.begin(), kHeld.end(), isDown);
  }));
  POINT before{};
  GetCursorPos(&before);
  injector.ReleaseAll();
  EXPECT_TRUE(PumpUntil([&] { return std::none_of(kHeld.begin(), kHeld.end(), isDown); }));
  EXPECT_EQ(DistanceFrom(before.x, before.y), 0);
}

TEST(Injection, ReportsTheErrorOfARefusal) {
  SetLastError(0);
  const InjectionResult result = InjectInput({});
  EXPECT_EQ(result.inserted, 0u);
  EXPECT_EQ(result.lastError, static_cast<uint32_t>(ERROR_INVALID_PARAMETER));
}

TEST(Injection, AsksTheKeyboardLayout) {
  EXPECT_EQ(KeyScan('-'), 0xBD);
  EXPECT_EQ(KeyScan('a'), 0x41);
  EXPECT_EQ(KeyScan('A'), 0x141);
}

TEST(Injection, KnowsTheDesktopsExtent) {
  EXPECT_EQ(SystemMetric(kPrimaryWidthMetric), GetSystemMetrics(SM_CXSCREEN));
  EXPECT_EQ(SystemMetric(kVirtualHeightMetric), GetSystemMetrics(SM_CYVIRTUALSCREEN));
}

TEST(Injection, ConvertsUtf8) {
  EXPECT_EQ(Utf16FromUtf8("aé剪😀"), u"aé剪😀");
  EXPECT_EQ(Utf16FromUtf8(std::string("a\0b", 3)), std::u16string(u"a\0b", 3));
  EXPECT_EQ(Utf16FromUtf8("a\xFF"
                          "b"),
            u"a\xFFFD"
            u"b");
  EXPECT_EQ(Utf16FromUtf8(""), u"");
}

}  // namespace
}  // namespace talu
