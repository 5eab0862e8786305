// Replaces one method of a COM class for all its objects in this process.
#pragma once

#include <windows.h>

#include <mutex>

namespace talu {

// The replacement of one slot. Lives until the process ends, like the class's method table. For
// classes of which the process has one table; a second one keeps its own methods.
template <class Function>
class ReplacedMethod {
 public:
  // Idempotent; any thread. False when the table cannot be written to.
  bool Install(void* object, size_t slot, Function replacement) {
    const std::lock_guard hold(lock);
    auto* place = *static_cast<Function**>(object) + slot;
    if (original != nullptr) return *place == replacement;
    DWORD protection = 0;
    if (!VirtualProtect(place, sizeof *place, PAGE_READWRITE, &protection)) return false;
    original = *place;
    *place = replacement;
    // What fails here leaves the table writable, which hurts nobody.
    VirtualProtect(place, sizeof *place, protection, &protection);
    return true;
  }

  Function Original() const { return original; }

 private:
  std::mutex lock;
  // Written once, before any call can come through the replaced slot.
  Function original = nullptr;
};

}  // namespace talu
