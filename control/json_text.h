// The text inside the quotes of a message's string: decoding and escaping it.
//
// Both go through the text once, sixteen bytes at a time where nothing has to be changed, and stay
// near that speed when every byte is an escape: a clipboard text may be nothing but line ends. Any
// thread may call these. Control messages are read and written with control/json_fields.h.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace talu {

// Decodes the text that begins right after an opening quote, up to the closing one, and appends it
// to value. False when there is none, or at a broken \u escape; value then has what was decoded so
// far. value must not be part of text.
bool DecodeJsonText(std::string_view text, std::string& value);

// Text ready to stand between double quotes. Bytes from 0x7F up and slashes stay as they are.
std::string JsonEscape(std::string_view text);

// How many bytes JsonEscape gives, without making them.
size_t JsonEscapedSize(std::string_view text);

}  // namespace talu
