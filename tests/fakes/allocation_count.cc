#include "tests/fakes/allocation_count.h"

#include <cstdlib>
#include <new>

namespace talu {
namespace {

thread_local int64_t allocations = 0;
thread_local size_t largest = SIZE_MAX;

// Null where there is none.
void* Allocate(size_t size) noexcept {
  ++allocations;
  return size <= largest ? std::malloc(size) : nullptr;
}

void* AllocateOrThrow(size_t size) {
  void* const memory = Allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

int64_t AllocationsOfThisThread() { return allocations; }

ScarceMemory::ScarceMemory(size_t largestBytes) { largest = largestBytes; }
ScarceMemory::~ScarceMemory() { largest = SIZE_MAX; }

}  // namespace talu

// Those of arrays, too: in the standard library they come down to the others, but not in a
// sanitizer's.
void* operator new(size_t size) { return talu::AllocateOrThrow(size); }
void* operator new[](size_t size) { return talu::AllocateOrThrow(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return talu::Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }
