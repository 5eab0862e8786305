#include <windows.h>
// After windows.h, which it needs.
#include <winternl.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "base/clock.h"

namespace talu {
namespace {

// Every handle of this process. GetProcessHandleCount says 0 under Wine.
long CountHandles() {
  constexpr auto kSystemHandles = static_cast<SYSTEM_INFORMATION_CLASS>(64);
  constexpr size_t kHeaderWords = 2;
  constexpr size_t kEntryWords = 5;
  constexpr size_t kLargestListWords = size_t{32} << 20;
  std::vector<uint64_t> list(size_t{1} << 13);
  ULONG needed = 0;
  while (list.size() < kLargestListWords &&
         NtQuerySystemInformation(kSystemHandles, list.data(),
                                  static_cast<ULONG>(list.size() * sizeof(uint64_t)),
                                  &needed) != 0) {
    list.resize(list.size() * 2);
  }
  long count = 0;
  for (uint64_t entry = 0; entry < list[0]; ++entry) {
    // The second word of an entry is its process.
    if (list[kHeaderWords + entry * kEntryWords + 1] == GetCurrentProcessId()) {
      ++count;
    }
  }
  return count;
}

// Takes the places of what the runtime has freed, and writes over them.
void ReuseFreedMemory() {
  constexpr size_t kLargestBytes = 128;
  std::vector<void*> taken;
  for (int round = 0; round < 20; ++round) {
    for (size_t bytes = 8; bytes <= kLargestBytes; bytes += 8) {
      taken.push_back(std::memset(std::malloc(bytes), 0xEE, bytes));
    }
  }
  for (void* memory : taken) {
    std::free(memory);
  }
}

struct AtThreadEnd {
  ~AtThreadEnd() { ReuseFreedMemory(); }
};

TEST(SleepForMs, LeavesNothingOpenWhenItsThreadEnds) {
  constexpr int kThreads = 50;
  const auto sleepInThread = [] {
    std::thread([] {
      SleepForMs(1);
      // What is made later is destroyed earlier.
      thread_local AtThreadEnd end;
      (void)&end;
    }).join();
  };
  sleepInThread();
  const long before = CountHandles();
  for (int i = 0; i < kThreads; ++i) {
    sleepInThread();
  }
  EXPECT_LT(CountHandles(), before + kThreads / 2);
}

}  // namespace
}  // namespace talu
