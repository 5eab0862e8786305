// Small rules about UTF-8 text that several rooms need.
#pragma once

#include <cstddef>
#include <string_view>

namespace talu {

// The longest prefix of at most maxBytes bytes that does not end inside a character. Bytes that are
// no UTF-8 count as characters of their own.
std::string_view WholeCharacters(std::string_view text, size_t maxBytes);

}  // namespace talu
