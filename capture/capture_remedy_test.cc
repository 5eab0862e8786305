#include "capture/capture_remedy.h"

#include <gtest/gtest.h>

namespace talu {
namespace {

CaptureRemedy For(uint32_t result) { return RemedyFor(static_cast<int32_t>(result)); }

TEST(RemedyFor, SuccessOfAnyKindGoesOn) {
  EXPECT_EQ(For(0), CaptureRemedy::kGoOn);
  EXPECT_EQ(For(1), CaptureRemedy::kGoOn);
  EXPECT_EQ(For(0x087A0001), CaptureRemedy::kGoOn);  // DXGI_STATUS_OCCLUDED
}

TEST(RemedyFor, ATimeOutIsNothingNew) { EXPECT_EQ(For(0x887A0027), CaptureRemedy::kNothingNew); }

TEST(RemedyFor, LostAccessIsOpenedAgain) {
  EXPECT_EQ(For(0x887A0026), CaptureRemedy::kReopenDuplication);
}

TEST(RemedyFor, ALostDeviceIsReplaced) {
  EXPECT_EQ(For(0x887A0005), CaptureRemedy::kReplaceDevice);
  EXPECT_EQ(For(0x887A0006), CaptureRemedy::kReplaceDevice);
  EXPECT_EQ(For(0x887A0007), CaptureRemedy::kReplaceDevice);
  EXPECT_EQ(For(0x887A0020), CaptureRemedy::kReplaceDevice);
}

TEST(RemedyFor, AnyOtherFailureIsTriedAgain) {
  EXPECT_EQ(For(0x887A0001), CaptureRemedy::kTryAgain);  // DXGI_ERROR_INVALID_CALL
  EXPECT_EQ(For(0x887A0028), CaptureRemedy::kTryAgain);  // DXGI_ERROR_SESSION_DISCONNECTED
  EXPECT_EQ(For(0x80004005), CaptureRemedy::kTryAgain);  // E_FAIL
  EXPECT_EQ(For(0x80070005), CaptureRemedy::kTryAgain);  // E_ACCESSDENIED
  EXPECT_EQ(For(0xFFFFFFFF), CaptureRemedy::kTryAgain);
}

}  // namespace
}  // namespace talu
