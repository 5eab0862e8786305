// The control file of a transform: its settings may change while the transform runs.
//
// The file is named by an environment variable, read when the transform is made and again whenever
// its size or time stamp differs. An empty file changes nothing: whoever writes it may be half way.
// A line that is no setting is told on standard error and changes nothing either.
// Used by one thread at a time.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "devkit/wine/codec/fault_plan.h"

namespace talu {

class FaultFile {
 public:
  // Without the variable or the file, the plan is `otherwise`.
  FaultFile(const wchar_t* variable, const FaultPlan& otherwise);

  // The settings as they are now.
  const FaultPlan& Look();
  // Grows with every change that Look saw; counted settings start anew then.
  uint64_t Changes() const { return changes; }

 private:
  void Adopt(const FaultPlan& next);

  std::wstring path;
  FaultPlan withoutFile;
  FaultPlan plan;
  uint64_t changes = 1;
  FILETIME seenTime = {};
  DWORD seenSize = 0;
};

}  // namespace talu
