// The event queue of an asynchronous transform.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <cstdint>
#include <optional>

namespace talu {

// How long to sleep between two looks at an empty queue.
constexpr int64_t kEventPollMs = 1;

// Takes the oldest event and tells its type; nothing when none is queued. Never waits.
std::optional<MediaEventType> NextEvent(IMFMediaEventGenerator& generator);

}  // namespace talu
