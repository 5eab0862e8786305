// Faults that a test of the host asks the duplication for, in the file that TALU_DESKTOP_FAULTS
// names. One fault a line; the file may change while the host runs and is looked at by every
// AcquireNextFrame and DuplicateOutput:
//   access-lost            the next AcquireNextFrame, once for each writing of the file
//   device-removed         every AcquireNextFrame answers DXGI_ERROR_DEVICE_REMOVED
//   acquire-fails HRESULT  every AcquireNextFrame answers that (0x80004005)
//   duplicate-fails COUNT  the next COUNT calls of DuplicateOutput answer E_ACCESSDENIED
//   no-frames              time-outs alone, for the first frame too
//   hide-cursor            the pointer is told as hidden
// Empty lines and lines that begin with # are skipped. Lines that cannot be understood are named in
// the debugger's output. A missing file asks for nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace talu {

struct DesktopFaults {
  bool accessLost = false;
  std::optional<uint32_t> acquireResult;
  uint32_t duplicateFailures = 0;
  bool noFrames = false;
  bool hideCursor = false;
};

// The lines that can be understood are taken; complaint names the first other one, or is emptied.
DesktopFaults ParseDesktopFaults(std::string_view text, std::string* complaint);

}  // namespace talu
