// The fields of input events, read as they stand in the body.
//
// Not the readers of control/json_fields.h: those decode escapes, these do not. See the comparison
// there. Controllers send plain ASCII names here, so a raw view of the body is enough, and reading
// a mouse move copies nothing. Any thread may call them.
#pragma once

#include <cstdint>
#include <string_view>

namespace talu {

// The bytes between the first two double quotes after the field's colon; escapes stay, so an
// escaped quote ends the value. The value points into body. False with value untouched when a piece
// is missing.
bool RawFindString(std::string_view body, std::string_view name, std::string_view& value);

// Like JsonFindInt: integers have no escapes to differ in. False with value untouched when the
// field is missing or no integer.
bool RawFindInt(std::string_view body, std::string_view name, int32_t& value);

}  // namespace talu
