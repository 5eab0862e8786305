#include "tests/fakes/allocation_count.h"

#include <cstdlib>
#include <new>

namespace talu {
namespace {

thread_local int64_t allocations = 0;

}  // namespace

int64_t AllocationsOfThisThread() { return allocations; }

}  // namespace talu

// What the standard library offers beside these comes down to them.
void* operator new(size_t size) {
  ++talu::allocations;
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
