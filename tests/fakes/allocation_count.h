// Counts what a thread takes from the heap through new, and can refuse it (library
// allocation_count, which replaces the program's operator new).
#pragma once

#include <cstddef>
#include <cstdint>

namespace talu {

// Allocations that the calling thread has made so far.
int64_t AllocationsOfThisThread();

// For one scope the calling thread gets no memory for anything larger.
class ScarceMemory {
 public:
  explicit ScarceMemory(size_t largestBytes);
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};

}  // namespace talu
