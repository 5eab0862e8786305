#include "devkit/wine/desktop/fault_file.h"

#include <windows.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>

#include "devkit/wine/desktop/faults.h"
#include "devkit/wine/desktop/x11_library.h"

namespace talu {

namespace {

constexpr int32_t kMaxFileBytes = 4096;

// The variable may hold a Unix path or Wine's name of one; the file is read on the Unix side.
std::string FaultPath() {
  std::string path = ReadEnvironment("TALU_DESKTOP_FAULTS");
  if (path.size() > 2 && path[1] == ':') {
    path.erase(0, 2);
    std::replace(path.begin(), path.end(), '\\', '/');
  }
  return path;
}

class FaultFile {
 public:
  AcquireFaults TakeForAcquire() {
    const std::lock_guard hold(lock);
    Reload();
    return {faults.acquireResult, std::exchange(faults.accessLost, false), faults.noFrames,
            faults.hideCursor};
  }

  bool TakeForDuplicate() {
    const std::lock_guard hold(lock);
    Reload();
    if (faults.duplicateFailures == 0) return false;
    --faults.duplicateFailures;
    return true;
  }

 private:
  void Reload() {
    const X11Library* library = LoadX11Library();
    if (path.empty() || library == nullptr) return;
    char text[kMaxFileBytes];
    const int32_t length = library->readChangedFile(path.c_str(), stamp, text, kMaxFileBytes);
    if (length < 0) return;
    std::string complaint;
    faults = ParseDesktopFaults({text, static_cast<size_t>(length)}, &complaint);
    if (complaint.empty()) return;
    OutputDebugStringA(("[desktop] no such fault: " + complaint + "\n").c_str());
  }

  const std::string path = FaultPath();
  std::mutex lock;
  uint64_t stamp[3] = {};
  DesktopFaults faults;
};

// Lives until the process ends, since any thread may be in a duplication then.
FaultFile& TheFaultFile() {
  static FaultFile* file = new FaultFile;
  return *file;
}

}  // namespace

AcquireFaults TakeAcquireFaults() { return TheFaultFile().TakeForAcquire(); }

bool TakeDuplicateFault() { return TheFaultFile().TakeForDuplicate(); }

}  // namespace talu
