// Binds the closed streaming library: loads it once per process and resolves its entry points.
#pragma once

#include "base/stream_sdk.h"

namespace talu {

// True when all eight entry points are available; at once when they already are. On failure one log
// line for the library or for each missing symbol, and the library is released, so that a later
// call starts anew. A loaded library is never freed. Main thread only, before any other thread
// reads the table.
bool LoadStreamSdk();

// The process-wide table; complete once LoadStreamSdk has returned true.
const StreamSdk& ProcessStreamSdk();

// For tests, which share one process: forgets the library without releasing it.
void ForgetStreamSdk();

}  // namespace talu
