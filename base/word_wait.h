// Sleeping until an atomic changes.
//
// In place of std::atomic's wait and notify_all: on Windows the compiler's library (gcc 12)
// compares the value before it takes the lock that a waker does not take at all, so a change in
// between wakes nobody and the waiter sleeps for ever. Any thread may call these.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>

namespace talu {

// Returns when the four bytes at word differ from seen or somebody wakes the waiters; it may return
// early, so call it in a loop that looks at the value.
void WaitOnWord(const void* word, uint32_t seen);
void WakeWord(const void* word);

template <typename Value>
void WaitForChange(const std::atomic<Value>& atomic, Value seen) {
  static_assert(sizeof(atomic) == sizeof(uint32_t) && std::atomic<Value>::is_always_lock_free);
  uint32_t bits = 0;
  std::memcpy(&bits, &seen, sizeof(bits));
  WaitOnWord(&atomic, bits);
}

// To be called after every change that a waiter may be waiting for.
template <typename Value>
void WakeWaiters(const std::atomic<Value>& atomic) {
  WakeWord(&atomic);
}

}  // namespace talu
