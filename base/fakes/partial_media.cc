// An mfplat.dll that can begin and cannot end: of all the functions that the host wants of it, it
// has one.
#include <atomic>

namespace {

std::atomic<int> starts{0};

}  // namespace

extern "C" {

__declspec(dllexport) long MFStartup(unsigned long, unsigned long) {
  ++starts;
  return 0;
}

__declspec(dllexport) int TaluStartsOfMedia() { return starts.load(); }
}
