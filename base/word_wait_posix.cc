#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>

#include "base/word_wait.h"

namespace talu {

void WaitOnWord(const void* word, uint32_t seen) {
  // A change before the sleep, a signal: the caller looks again in any case.
  syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, seen, nullptr, nullptr, 0);
}

void WakeWord(const void* word) {
  // Nobody to wake is no fault.
  syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace talu
