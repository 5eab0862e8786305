// Machine code that stands before any function of any signature: it looks at a call before and
// after it is made, and can answer in the function's place.
//
// On 64-bit Windows the caller keeps the arguments' place on the stack, so one piece of code serves
// every function of up to kMostArguments arguments that answers in the integer register.
#pragma once

#include <cstddef>
#include <cstdint>

namespace talu {

constexpr int kMostArguments = 16;

struct Call;

// One place that was replaced. Lives until the process ends.
struct CallThunk {
  // Read by the machine code at offset 0.
  void* original = nullptr;
  Call* call = nullptr;
  // Only the host's own calls of methods are looked at.
  bool isMethod = false;
};

struct CallState {
  uint64_t result = 0;
  uint64_t replacement = 0;
  bool replaceAfter = false;
  // What the caller had put into its record before the call.
  void* given = nullptr;
};

// Where the host's code lies. Before any thunk is made.
void SetHostImage(const void* start, size_t bytes);

// Code to be put in the place of thunk.original; null without memory.
void* MakeThunkCode(CallThunk* thunk);

}  // namespace talu

extern "C" {

// Called by the machine code, on the calling thread. arguments is the caller's own list; what lies
// past the function's own arguments is anything. Both leave the thread's last error as the caller
// is to see it. True: state.result is the answer, and nothing is called.
bool TaluBeforeCall(talu::CallThunk* thunk, uint64_t* arguments, talu::CallState* state);
// Returns the answer for the caller.
uint64_t TaluAfterCall(talu::CallThunk* thunk, uint64_t* arguments, talu::CallState* state);
}
