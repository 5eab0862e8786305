#include "input/key_map.h"

#include <array>

#include "input/injection.h"

namespace talu {
namespace {

constexpr uint32_t kKeyboardPage = 0x0007;

// Consecutive usages that are consecutive virtual keys.
struct HidKeys {
  uint32_t firstUsage;
  uint32_t lastUsage;
  uint16_t firstKey;
};

constexpr HidKeys kHidKeys[] = {
    {4, 29, 0x41},     // A to Z
    {30, 38, 0x31},    // 1 to 9
    {39, 39, 0x30},    // 0
    {40, 40, 0x0D},    // VK_RETURN
    {41, 41, 0x1B},    // VK_ESCAPE
    {42, 42, 0x08},    // VK_BACK
    {43, 43, 0x09},    // VK_TAB
    {44, 44, 0x20},    // VK_SPACE
    {45, 45, 0xBD},    // VK_OEM_MINUS
    {46, 46, 0xBB},    // VK_OEM_PLUS, the key with =
    {47, 47, 0xDB},    // VK_OEM_4, [
    {48, 48, 0xDD},    // VK_OEM_6, ]
    {49, 49, 0xDC},    // VK_OEM_5, backslash
    {51, 51, 0xBA},    // VK_OEM_1, ;
    {52, 52, 0xDE},    // VK_OEM_7, '
    {53, 53, 0xC0},    // VK_OEM_3, `
    {54, 54, 0xBC},    // VK_OEM_COMMA
    {55, 55, 0xBE},    // VK_OEM_PERIOD
    {56, 56, 0xBF},    // VK_OEM_2, /
    {57, 57, 0x14},    // VK_CAPITAL
    {58, 69, 0x70},    // VK_F1 to VK_F12
    {70, 70, 0x2C},    // VK_SNAPSHOT
    {71, 71, 0x91},    // VK_SCROLL
    {72, 72, 0x13},    // VK_PAUSE
    {73, 73, 0x2D},    // VK_INSERT
    {74, 74, 0x24},    // VK_HOME
    {75, 75, 0x21},    // VK_PRIOR
    {76, 76, 0x2E},    // VK_DELETE
    {77, 77, 0x23},    // VK_END
    {78, 78, 0x22},    // VK_NEXT
    {79, 79, 0x27},    // VK_RIGHT
    {80, 80, 0x25},    // VK_LEFT
    {81, 81, 0x28},    // VK_DOWN
    {82, 82, 0x26},    // VK_UP
    {83, 83, 0x90},    // VK_NUMLOCK
    {84, 84, 0x6F},    // VK_DIVIDE
    {85, 85, 0x6A},    // VK_MULTIPLY
    {86, 86, 0x6D},    // VK_SUBTRACT
    {87, 87, 0x6B},    // VK_ADD
    {88, 88, 0x0D},    // keypad Enter: VK_RETURN
    {89, 97, 0x61},    // VK_NUMPAD1 to VK_NUMPAD9
    {98, 98, 0x60},    // VK_NUMPAD0
    {99, 99, 0x6E},    // VK_DECIMAL
    {101, 101, 0x5D},  // VK_APPS
    {104, 115, 0x7C},  // VK_F13 to VK_F24
    {224, 224, 0x11},  // left Ctrl: VK_CONTROL
    {225, 225, 0x10},  // left Shift: VK_SHIFT
    {226, 226, 0x12},  // left Alt: VK_MENU
    {227, 227, 0x5B},  // VK_LWIN
    {228, 228, 0x11},  // right Ctrl: VK_CONTROL
    {229, 229, 0x10},  // right Shift: VK_SHIFT
    {230, 230, 0x12},  // right Alt: VK_MENU
    {231, 231, 0x5C},  // VK_RWIN
};

struct NamedKey {
  std::string_view code;
  uint16_t key;
};

constexpr NamedKey kNamedKeys[] = {
    {"Enter", 0x0D},     {"NumpadEnter", 0x0D}, {"Escape", 0x1B},      {"Backspace", 0x08},
    {"Tab", 0x09},       {"Space", 0x20},       {"ArrowUp", 0x26},     {"ArrowDown", 0x28},
    {"ArrowLeft", 0x25}, {"ArrowRight", 0x27},  {"Home", 0x24},        {"End", 0x23},
    {"PageUp", 0x21},    {"PageDown", 0x22},    {"Insert", 0x2D},      {"Delete", 0x2E},
    {"ShiftLeft", 0x10}, {"ShiftRight", 0x10},  {"ControlLeft", 0x11}, {"ControlRight", 0x11},
    {"AltLeft", 0x12},   {"AltRight", 0x12},    {"MetaLeft", 0x5B},    {"MetaRight", 0x5C},
    {"CapsLock", 0x14},
};

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

uint16_t CodeOf(char byte) { return static_cast<unsigned char>(byte); }

uint16_t UpperCodeOf(char byte) {
  return CodeOf(byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte);
}

// The number that text begins with; whatever is above the last function key stays above it.
uint32_t LeadingNumber(std::string_view text) {
  uint32_t number = 0;
  for (const char byte : text) {
    if (!IsDigit(byte) || number > 0xFFFF) {
      break;
    }
    number = number * 10 + static_cast<uint32_t>(byte - '0');
  }
  return number;
}

uint16_t FunctionKey(std::string_view code) {
  if (code.size() < 2 || code[0] != 'F' || !IsDigit(code[1])) {
    return 0;
  }
  constexpr uint32_t kLastFunctionKey = 24;
  const uint32_t number = LeadingNumber(code.substr(1));
  return number >= 1 && number <= kLastFunctionKey ? static_cast<uint16_t>(number + 111) : 0;
}

uint16_t NamedVirtualKey(std::string_view code) {
  for (const NamedKey& named : kNamedKeys) {
    if (named.code == code) {
      return named.key;
    }
  }
  return 0;
}

uint16_t KeyOfCharacter(std::string_view character) {
  if (character.empty()) {
    return 0;
  }
  const uint16_t scan = KeyScan(character[0]);
  return scan == kNoKeyScan ? 0 : scan & 0xFF;
}

}  // namespace

uint16_t VkFromHid(uint32_t usage32) {
  if (usage32 >> 16 != kKeyboardPage) {
    return 0;
  }
  const uint32_t usage = usage32 & 0xFFFF;
  for (const HidKeys& keys : kHidKeys) {
    if (usage >= keys.firstUsage && usage <= keys.lastUsage) {
      return static_cast<uint16_t>(keys.firstKey + (usage - keys.firstUsage));
    }
  }
  return 0;
}

uint16_t VkFromCode(std::string_view code, std::string_view key) {
  if (code.size() == 4 && code.starts_with("Key")) {
    return UpperCodeOf(code[3]);
  }
  if (code.size() == 6 && code.starts_with("Digit")) {
    return CodeOf(code[5]);
  }
  if (code.size() == 7 && code.starts_with("Numpad") && IsDigit(code[6])) {
    return static_cast<uint16_t>(CodeOf(code[6]) + 48);
  }
  if (const uint16_t function = FunctionKey(code); function != 0) {
    return function;
  }
  if (const uint16_t named = NamedVirtualKey(code); named != 0) {
    return named;
  }
  return KeyOfCharacter(key);
}

}  // namespace talu
