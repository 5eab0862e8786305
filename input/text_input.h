// Text typed as Unicode characters, whatever the keyboard layout. Any thread.
#pragma once

#include <string_view>

namespace talu {

// Types UTF-8 text into the focused window with one call to the system. A line feed is Enter, a
// carriage return nothing. Broken UTF-8 is typed as replacement characters. Nothing is logged, and
// nothing typed when the system refuses or memory for the whole text cannot be had.
void TypeText(std::string_view utf8);

}  // namespace talu
