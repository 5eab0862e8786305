// What Windows does with input: the few calls under the injector, in portable records.
//
// injection_win.cc implements them over user32; native tests link fake_injection in its place. Any
// thread may call them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace talu {

constexpr uint32_t kMouseMove = 0x0001;
constexpr uint32_t kMouseLeftDown = 0x0002;
constexpr uint32_t kMouseLeftUp = 0x0004;
constexpr uint32_t kMouseRightDown = 0x0008;
constexpr uint32_t kMouseRightUp = 0x0010;
constexpr uint32_t kMouseMiddleDown = 0x0020;
constexpr uint32_t kMouseMiddleUp = 0x0040;
constexpr uint32_t kMouseXDown = 0x0080;
constexpr uint32_t kMouseXUp = 0x0100;
constexpr uint32_t kMouseWheel = 0x0800;
constexpr uint32_t kMouseVirtualDesk = 0x4000;
constexpr uint32_t kMouseAbsolute = 0x8000;
constexpr uint32_t kXButton1 = 1;
constexpr uint32_t kXButton2 = 2;

constexpr uint32_t kKeyUp = 0x0002;
constexpr uint32_t kKeyUnicode = 0x0004;

constexpr uint32_t kMouseRecord = 0;
constexpr uint32_t kKeyRecord = 1;

struct MouseInput {
  int32_t dx;
  int32_t dy;
  uint32_t data;
  uint32_t flags;
  uint32_t timeMs;
  uint64_t extraInfo;
};

struct KeyInput {
  uint16_t virtualKey;
  uint16_t scanCode;
  uint32_t flags;
  uint32_t timeMs;
  uint64_t extraInfo;
};

// One event in Windows' own layout (INPUT, 64-bit), so that long texts need no second copy.
struct InputRecord {
  uint32_t type;
  union {
    MouseInput mouse;
    KeyInput key;
  };

  static InputRecord Mouse(uint32_t flags, int32_t dx, int32_t dy, uint32_t data) {
    InputRecord record{kMouseRecord, {}};
    record.mouse = {dx, dy, data, flags, 0, 0};
    return record;
  }
  static InputRecord Key(uint16_t virtualKey, uint16_t scanCode, uint32_t flags) {
    InputRecord record{kKeyRecord, {}};
    record.key = {virtualKey, scanCode, flags, 0, 0};
    return record;
  }
};
static_assert(sizeof(InputRecord) == 40);

struct InjectionResult {
  uint32_t inserted;   // records that the system took
  uint32_t lastError;  // the thread's error code right after the call; of interest when none were
};

// Injects the records in one call, in their order.
InjectionResult InjectInput(std::span<const InputRecord> records);

constexpr int kPrimaryWidthMetric = 0;
constexpr int kPrimaryHeightMetric = 1;
constexpr int kVirtualLeftMetric = 76;
constexpr int kVirtualTopMetric = 77;
constexpr int kVirtualWidthMetric = 78;
constexpr int kVirtualHeightMetric = 79;

// In pixels.
int32_t SystemMetric(int metric);

constexpr uint16_t kNoKeyScan = 0xFFFF;

// The virtual key (low byte) and shift state (high byte) that type this character of the system's
// code page on the current keyboard layout, else kNoKeyScan.
uint16_t KeyScan(char character);

// Broken UTF-8 becomes replacement characters. Empty when the system cannot convert the text.
std::u16string Utf16FromUtf8(std::string_view text);

}  // namespace talu
