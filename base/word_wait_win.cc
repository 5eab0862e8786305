#include <windows.h>

#include "base/word_wait.h"

namespace talu {

void WaitOnWord(const void* word, uint32_t seen) {
  // Without a time-out it fails only for bad sizes; the caller looks again in any case.
  WaitOnAddress(const_cast<void*>(word), &seen, sizeof(seen), INFINITE);
}

void WakeWord(const void* word) { WakeByAddressAll(const_cast<void*>(word)); }

}  // namespace talu
