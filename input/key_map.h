// From a key as the controller names it to a Windows virtual key. 0 means no key. Any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace talu {

// A USB HID usage with its page in the upper 16 bits; only the keyboard page (7) has keys. Left and
// right Ctrl, Shift and Alt give the same, side-less key.
uint16_t VkFromHid(uint32_t usage32);

// A physical key's name as the web gives it (KeyboardEvent.code); where the name is unknown, the
// produced character decides, asked of the system's keyboard layout with its shift state dropped.
uint16_t VkFromCode(std::string_view code, std::string_view key);

}  // namespace talu
