// The system clipboard's text, as UTF-8. Any thread may call these; the system lets one in at a
// time. A clipboard that another program has open is waited for, a quarter of a second at the most.
#pragma once

#include <string>
#include <string_view>

namespace talu {

// Empty when the clipboard holds no Unicode text or another program keeps it open.
std::string ReadClipboardText();

// Puts text in the place of whatever the clipboard holds. When memory runs out or another program
// keeps the clipboard open, it stays as it was; the user copies again.
void WriteClipboardText(std::string_view text);

// Whether the clipboard still holds what WriteClipboardText put there last, and reading it would
// give back the very same text. Does not open the clipboard. False where the system does not tell.
bool HoldsWrittenText();

}  // namespace talu
