// Counts what a thread takes from the heap through new (library allocation_count, which replaces
// the program's operator new).
#pragma once

#include <cstdint>

namespace talu {

// Allocations that the calling thread has made so far.
int64_t AllocationsOfThisThread();

}  // namespace talu
