#include "capture/capture_remedy.h"

namespace talu {
namespace {

struct Row {
  uint32_t result;
  CaptureRemedy remedy;
};

// winerror.h's names are Windows' own; the Windows half checks that the numbers agree.
constexpr Row kTable[] = {
    {0x887A0027, CaptureRemedy::kNothingNew},         // DXGI_ERROR_WAIT_TIMEOUT
    {0x887A0026, CaptureRemedy::kReopenDuplication},  // DXGI_ERROR_ACCESS_LOST
    {0x887A0005, CaptureRemedy::kReplaceDevice},      // DXGI_ERROR_DEVICE_REMOVED
    {0x887A0006, CaptureRemedy::kReplaceDevice},      // DXGI_ERROR_DEVICE_HUNG
    {0x887A0007, CaptureRemedy::kReplaceDevice},      // DXGI_ERROR_DEVICE_RESET
    {0x887A0020, CaptureRemedy::kReplaceDevice},      // DXGI_ERROR_DRIVER_INTERNAL_ERROR
};

}  // namespace

CaptureRemedy RemedyFor(int32_t result) {
  for (const Row& row : kTable) {
    if (row.result == static_cast<uint32_t>(result)) {
      return row.remedy;
    }
  }
  return result < 0 ? CaptureRemedy::kTryAgain : CaptureRemedy::kGoOn;
}

}  // namespace talu
