// What is known of the host's calls: how often each was made, which is to fail now, and what the
// host holds from them.
//
// Filled by the thunks on every thread of the host, asked by the control server.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "devkit/sweep/call_thunk.h"

namespace talu {

struct Resource;

// One function or method by its name, like "CreateEventA" or "IMFTransform::ProcessInput".
struct Call {
  std::string name;
  std::atomic<uint64_t> count{0};
  // What success takes or gives back, and by what success is known.
  Resource* resource = nullptr;
  int held = 0;
  char success = 0;
};

struct Fault {
  std::string call;
  // Which calls fail, counted from 1 since the fault was set.
  uint64_t from = 1;
  uint64_t to = 1;
  uint64_t value = 0;
  uint32_t lastError = 0;
  // The call is made and then said to have failed; otherwise it is not made at all.
  bool afterCall = false;
};

// Never fails; the call is made up where the name is new.
Call* FindCall(std::string_view name);

// The replacement for an imported function.
void* WatchFunction(const char* name, void* original);

// Puts fault in force in the place of any other.
void Arm(const Fault& fault);
// Ends the fault in force; how often it struck.
uint64_t Disarm();

// {"calls":{name:count,...},"held":{resource:number,...}} of everything but 0.
std::string DescribeCalls();

// Names the file that gets "struck NAME" when a fault strikes first, and DescribeCalls() when the
// host ends itself.
void SetReportFile(std::wstring path);

}  // namespace talu
