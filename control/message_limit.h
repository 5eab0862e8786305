// How long one message to the controller may be, for the kinds that are limited.
#pragma once

#include <cstddef>

namespace talu {

// Bytes of a clipboard or cursor-shape message. Longer ones are not sent. The screens message has
// no limit.
constexpr size_t kMaxMessageBytes = 16384;

}  // namespace talu
