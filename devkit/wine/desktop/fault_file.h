// The file of faults (faults.h) as this process sees it.
#pragma once

#include <cstdint>
#include <optional>

namespace talu {

// What one AcquireNextFrame is to do.
struct AcquireFaults {
  // An HRESULT to answer with.
  std::optional<uint32_t> result;
  bool accessLost = false;
  bool noFrames = false;
  bool hideCursor = false;
};

// Any thread. Cheap while the file does not change.
AcquireFaults TakeAcquireFaults();

// True when this DuplicateOutput is one of those that are to fail.
bool TakeDuplicateFault();

}  // namespace talu
