// The cursor-shape message: a binary header and the pointer's picture.
//
//   offset 0   marker 0xC0, which no other message to the controller begins with
//          1   1 when the pointer is visible, else 0
//          2   width, 6 height, 10 hot spot x, 14 hot spot y: 32-bit signed, little-endian, pixels
//         18   width x height pixels of 4 bytes: blue, green, red, alpha; may be empty
//
// Free functions without state, called by the stream thread.
#pragma once

#include <cstddef>
#include <string>

#include "base/screen_records.h"
#include "base/sdk_session.h"

namespace talu {

constexpr unsigned char kCursorMarker = 0xC0;
constexpr size_t kCursorHeaderBytes = 18;

std::string BuildCursorMessage(const CursorUpdate& cursor);

// Sends the shape unless no session is open or the message would exceed kMaxMessageBytes: a picture
// too large for one message is not sent at all.
void SendCursorShape(SdkSession& session, const CursorUpdate& cursor);

}  // namespace talu
