// talu_gauge: how many handles a running program holds, which the system outside of Wine cannot
// see.
//
// Finds the process by the name of its file, prints its handle count in a line, again and again,
// and ends with the process or with standard input.
#include <windows.h>
// After windows.h, which they need.
#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <thread>
#include <vector>

namespace {

// 0 when there is none.
DWORD FindProcess(const char* name) {
  HANDLE const list = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (list == INVALID_HANDLE_VALUE) {
    return 0;
  }
  PROCESSENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  DWORD found = 0;
  for (BOOL more = Process32First(list, &entry); more && found == 0;
       more = Process32Next(list, &entry)) {
    if (_stricmp(entry.szExeFile, name) == 0) {
      found = entry.th32ProcessID;
    }
  }
  CloseHandle(list);
  return found;
}

// What the system answers about every handle there is. GetProcessHandleCount would be simpler;
// Wine's always says 0.
constexpr auto kSystemHandles = static_cast<SYSTEM_INFORMATION_CLASS>(64);
struct HandleEntry {
  void* object;
  ULONG_PTR processId;
  ULONG_PTR handle;
  ULONG access;
  USHORT backTrace;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};
struct HandleList {
  ULONG_PTR count;
  ULONG_PTR reserved;
  // The entries follow.
};
constexpr ULONG kLargestListBytes = 256u << 20;

// Negative when the system does not say.
long CountHandles(DWORD processId) {
  std::vector<uint64_t> memory(1u << 13);
  ULONG needed = 0;
  while (NtQuerySystemInformation(kSystemHandles, memory.data(),
                                  static_cast<ULONG>(memory.size() * sizeof(uint64_t)),
                                  &needed) != 0) {
    if (memory.size() * sizeof(uint64_t) > kLargestListBytes) {
      return -1;
    }
    memory.resize(memory.size() * 2);
  }
  const auto* list = reinterpret_cast<const HandleList*>(memory.data());
  const std::span entries(reinterpret_cast<const HandleEntry*>(list + 1), list->count);
  return static_cast<long>(std::count_if(
      entries.begin(), entries.end(),
      [processId](const HandleEntry& entry) { return entry.processId == processId; }));
}

void EndWithInput() {
  std::thread([] {
    while (std::getchar() != EOF) {
    }
    ExitProcess(0);
  }).detach();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "Usage: talu_gauge PROGRAM.exe MILLISECONDS\n");
    return 2;
  }
  EndWithInput();
  const auto intervalMs = static_cast<DWORD>(std::atoi(argv[2]));
  const DWORD id = FindProcess(argv[1]);
  HANDLE const process = OpenProcess(SYNCHRONIZE, FALSE, id);
  if (process == nullptr) {
    std::fprintf(stderr, "talu_gauge: no process %s\n", argv[1]);
    return 1;
  }
  do {
    std::printf("%ld\n", CountHandles(id));
    std::fflush(stdout);
  } while (WaitForSingleObject(process, intervalMs) == WAIT_TIMEOUT);
  return 0;
}
