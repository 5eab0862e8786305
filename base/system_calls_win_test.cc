#include "base/system_calls_win.h"

#include <gtest/gtest.h>

#include "tests/fakes/log_capture.h"

// Runs where the only mfplat.dll is the one of base/fakes/partial_media.cc.

namespace talu {
namespace {

int StartsOfMedia() {
  const HMODULE media = GetModuleHandleW(L"mfplat.dll");
  const FARPROC starts = media == nullptr ? nullptr : GetProcAddress(media, "TaluStartsOfMedia");
  return starts == nullptr ? -1 : reinterpret_cast<int (*)()>(reinterpret_cast<void*>(starts))();
}

TEST(RealSystemCalls, BeginNothingThatTheyCannotEndAndTellOfItOnce) {
  const HRESULT missing = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
  LogCapture log;
  EXPECT_EQ(RealSystemCalls().MfStartup(MF_VERSION, MFSTARTUP_FULL), missing);
  EXPECT_EQ(RealSystemCalls().MfStartup(MF_VERSION, MFSTARTUP_FULL), missing);
  EXPECT_EQ(StartsOfMedia(), 0);
  IMFSample* sample = nullptr;
  EXPECT_EQ(RealSystemCalls().MfCreateSample(&sample), missing);
  EXPECT_EQ(sample, nullptr);
  const std::vector<std::string> lines = log.Lines();
  ASSERT_EQ(lines.size(), 1u) << log.Text();
  EXPECT_EQ(
      lines[0],
      "[agent] Windows component missing: Media Foundation, mfplat.dll (MFShutdown, err=127)");
}

}  // namespace
}  // namespace talu
