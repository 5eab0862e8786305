// What an HRESULT from Direct3D or DXGI means for the capturer, in one table.
//
// Plain functions without state. HRESULTs travel as signed 32-bit integers, so that the table is
// tested everywhere.
#pragma once

#include <cstdint>

namespace talu {

enum class CaptureRemedy {
  kGoOn,               // it worked
  kNothingNew,         // the time-out passed on an unchanged desktop
  kTryAgain,           // this grab is lost, the next may work
  kReopenDuplication,  // access is gone: desktop switch, mode change, session disconnected
  kReplaceDevice,      // the graphics device is gone: driver update, time-out, card removed
};

CaptureRemedy RemedyFor(int32_t result);

}  // namespace talu
