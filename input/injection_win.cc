#include <windows.h>

#include <climits>
#include <cstddef>

#include "input/injection.h"

namespace talu {

static_assert(sizeof(InputRecord) == sizeof(INPUT));
static_assert(offsetof(InputRecord, mouse) == offsetof(INPUT, mi));
static_assert(offsetof(MouseInput, dx) == offsetof(MOUSEINPUT, dx));
static_assert(offsetof(MouseInput, dy) == offsetof(MOUSEINPUT, dy));
static_assert(offsetof(MouseInput, data) == offsetof(MOUSEINPUT, mouseData));
static_assert(offsetof(MouseInput, flags) == offsetof(MOUSEINPUT, dwFlags));
static_assert(offsetof(MouseInput, timeMs) == offsetof(MOUSEINPUT, time));
static_assert(offsetof(MouseInput, extraInfo) == offsetof(MOUSEINPUT, dwExtraInfo));
static_assert(offsetof(InputRecord, key) == offsetof(INPUT, ki));
static_assert(offsetof(KeyInput, virtualKey) == offsetof(KEYBDINPUT, wVk));
static_assert(offsetof(KeyInput, scanCode) == offsetof(KEYBDINPUT, wScan));
static_assert(offsetof(KeyInput, flags) == offsetof(KEYBDINPUT, dwFlags));
static_assert(offsetof(KeyInput, timeMs) == offsetof(KEYBDINPUT, time));
static_assert(offsetof(KeyInput, extraInfo) == offsetof(KEYBDINPUT, dwExtraInfo));
static_assert(kMouseRecord == INPUT_MOUSE && kKeyRecord == INPUT_KEYBOARD);
static_assert(kMouseMove == MOUSEEVENTF_MOVE && kMouseWheel == MOUSEEVENTF_WHEEL);
static_assert(kMouseVirtualDesk == MOUSEEVENTF_VIRTUALDESK &&
              kMouseAbsolute == MOUSEEVENTF_ABSOLUTE);
static_assert(kMouseLeftDown == MOUSEEVENTF_LEFTDOWN && kMouseLeftUp == MOUSEEVENTF_LEFTUP);
static_assert(kMouseRightDown == MOUSEEVENTF_RIGHTDOWN && kMouseRightUp == MOUSEEVENTF_RIGHTUP);
static_assert(kMouseMiddleDown == MOUSEEVENTF_MIDDLEDOWN && kMouseMiddleUp == MOUSEEVENTF_MIDDLEUP);
static_assert(kMouseXDown == MOUSEEVENTF_XDOWN && kMouseXUp == MOUSEEVENTF_XUP);
static_assert(kXButton1 == XBUTTON1 && kXButton2 == XBUTTON2);
static_assert(kKeyUp == KEYEVENTF_KEYUP && kKeyUnicode == KEYEVENTF_UNICODE);
static_assert(kPrimaryWidthMetric == SM_CXSCREEN && kPrimaryHeightMetric == SM_CYSCREEN);
static_assert(kVirtualLeftMetric == SM_XVIRTUALSCREEN && kVirtualTopMetric == SM_YVIRTUALSCREEN);
static_assert(kVirtualWidthMetric == SM_CXVIRTUALSCREEN &&
              kVirtualHeightMetric == SM_CYVIRTUALSCREEN);

InjectionResult InjectInput(std::span<const InputRecord> records) {
  // SendInput reads the records only; its parameter lacks the const.
  auto* const inputs = reinterpret_cast<INPUT*>(const_cast<InputRecord*>(records.data()));
  const UINT inserted = SendInput(static_cast<UINT>(records.size()), inputs, sizeof(INPUT));
  return {inserted, GetLastError()};
}

int32_t SystemMetric(int metric) { return GetSystemMetrics(metric); }

uint16_t KeyScan(char character) { return static_cast<uint16_t>(VkKeyScanA(character)); }

std::u16string Utf16FromUtf8(std::string_view text) {
  if (text.size() > INT_MAX) {
    return {};
  }
  const int bytes = static_cast<int>(text.size());
  const int count = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  if (count < 1) {
    return {};
  }
  std::u16string units(static_cast<size_t>(count), u'\0');
  static_assert(sizeof(char16_t) == sizeof(wchar_t));
  // Cannot give another count than a moment ago for the same bytes.
  (void)MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes,
                            reinterpret_cast<wchar_t*>(units.data()), count);
  return units;
}

}  // namespace talu
