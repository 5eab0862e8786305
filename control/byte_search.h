// Searches over message bodies that stay fast when a message is megabytes long.
//
// The C library's memchr under Windows walks byte by byte; these walk sixteen bytes at a time
// (SSE2, which every 64-bit x86 has) and never read past the end. Any thread may call them.
#pragma once

#include <cstddef>
#include <string_view>

namespace talu {

constexpr size_t kNotFound = std::string_view::npos;

// The lowest position at or after from where body holds byte, else kNotFound.
size_t FindByte(std::string_view body, char byte, size_t from);

// The lowest position at or after from where body holds fragment, else kNotFound. A fragment has at
// least two bytes.
size_t FindFragment(std::string_view body, std::string_view fragment, size_t from);

// The lowest position at or after from of a double quote or a backslash, else body's size.
size_t FindQuoteOrBackslash(std::string_view body, size_t from);

// The lowest position at or after from of a byte that cannot stand as it is in a JSON string
// (double quote, backslash, below 0x20), else text's size.
size_t FindEscapable(std::string_view text, size_t from);

}  // namespace talu
