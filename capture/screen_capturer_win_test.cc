#include "capture/screen_capturer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_graphics_win.h"

namespace {

bool memoryIsShort = false;

}  // namespace

// The capturer takes its state from here.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return memoryIsShort ? nullptr : std::malloc(size);
}

namespace talu {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr uint32_t kTimeoutMs = 50;

class ScreenCapturerTest : public testing::Test {
 protected:
  void SetUp() override {
    FakeClock::Reset();
    ReplaceSystemCalls(&graphics.calls);
  }

  void TearDown() override {
    capturer.reset();
    ReplaceSystemCalls(nullptr);
    EXPECT_EQ(graphics.Alive(), 0);
  }

  void Open() {
    ASSERT_TRUE(capturer->Init(0));
    ASSERT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
    graphics.ClearLog();
  }

  // Two monitors of different sizes, the second left of the first.
  void AddMonitorOnTheLeft() {
    FakeMonitor left;
    left.name = L"\\\\.\\DISPLAY2";
    left.desktop = {-32, 0, 0, 24};
    left.width = 32;
    left.height = 24;
    left.shade = 2;
    graphics.SetMonitors({FakeMonitor{}, left});
  }

  // Whether a picture comes within some seconds of grabbing from a desktop that changes.
  bool PictureComes() {
    for (int grab = 0; grab < 100; ++grab) {
      graphics.ShowNewPicture(capturer->CurrentOutput(), static_cast<uint8_t>(grab));
      if (capturer->CaptureFrame(kTimeoutMs).valid) return true;
    }
    return false;
  }

  FakeGraphics graphics;
  std::optional<ScreenCapturer> capturer{std::in_place};
};

std::vector<uint8_t> BytesOf(const CapturedFrame& frame) {
  return {frame.pixels, frame.pixels + size_t{4} * frame.width * frame.height};
}

void ExpectInvalid(const CapturedFrame& frame) {
  EXPECT_FALSE(frame.valid);
  EXPECT_EQ(frame.pixels, nullptr);
  EXPECT_EQ(frame.width, 0);
  EXPECT_EQ(frame.height, 0);
}

// ---- Opening

TEST_F(ScreenCapturerTest, AsksForAHardwareDeviceOnTheDefaultAdapter) {
  ASSERT_TRUE(capturer->Init(0));
  const FakeDeviceRequest request = graphics.LastDevice();
  EXPECT_FALSE(request.ownAdapter);
  EXPECT_EQ(request.driver, D3D_DRIVER_TYPE_HARDWARE);
  EXPECT_FALSE(request.software);
  EXPECT_EQ(request.flags, 0u);
  EXPECT_THAT(request.levels,
              ElementsAre(D3D_FEATURE_LEVEL_11_1, D3D_FEATURE_LEVEL_11_0, D3D_FEATURE_LEVEL_10_1));
  EXPECT_EQ(request.sdkVersion, 7u);
  EXPECT_FALSE(request.wantsLevel);
}

TEST_F(ScreenCapturerTest, InitFailsWithoutADeviceAndHoldsNothing) {
  graphics.Fail("D3D11CreateDevice", DXGI_ERROR_UNSUPPORTED);
  EXPECT_FALSE(capturer->Init(0));
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_FALSE(capturer->SelectOutput(0));
  EXPECT_TRUE(capturer->EnumerateScreens().empty());
  EXPECT_EQ(graphics.Alive(), 0);
}

TEST_F(ScreenCapturerTest, InitAgainReleasesTheFirstDevice) {
  Open();
  ASSERT_TRUE(capturer->Init(0));
  EXPECT_EQ(graphics.Count("~Device"), 1);
  EXPECT_EQ(graphics.Count("~Context"), 1);
  EXPECT_EQ(graphics.Count("~Staging"), 1);
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
}

TEST_F(ScreenCapturerTest, InitFailsForAnOutputThatIsNotThere) {
  EXPECT_FALSE(capturer->Init(3));
  EXPECT_EQ(capturer->CurrentOutput(), 3u);
}

TEST_F(ScreenCapturerTest, ReleasesDuplicationStagingContextAndDeviceInThisOrder) {
  Open();
  capturer.reset();
  EXPECT_THAT(graphics.Log(), ElementsAre("~Duplication", "~Staging", "~Context", "~Device"));
}

TEST_F(ScreenCapturerTest, CurrentOutputWithoutDeviceStateIs0) {
  memoryIsShort = true;
  ScreenCapturer withoutState;
  memoryIsShort = false;
  EXPECT_EQ(withoutState.CurrentOutput(), 0u);
  EXPECT_FALSE(withoutState.Init(1));
  EXPECT_EQ(withoutState.CurrentOutput(), 0u);
  ExpectInvalid(withoutState.CaptureFrame(0));
  EXPECT_FALSE(withoutState.SelectOutput(0));
  EXPECT_TRUE(withoutState.EnumerateScreens().empty());
  CursorUpdate update;
  EXPECT_FALSE(withoutState.TakeCursorUpdate(update));
}

TEST_F(ScreenCapturerTest, DoesNothingBeforeInit) {
  EXPECT_EQ(capturer->CurrentOutput(), 0u);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_FALSE(capturer->SelectOutput(0));
  EXPECT_TRUE(capturer->EnumerateScreens().empty());
  EXPECT_THAT(graphics.Log(), ElementsAre());
}

// ---- Grabbing

TEST_F(ScreenCapturerTest, AGrabTakesItsStepsInOrder) {
  ASSERT_TRUE(capturer->Init(0));
  graphics.ClearLog();
  const CapturedFrame frame = capturer->CaptureFrame(100);
  ASSERT_TRUE(frame.valid);
  EXPECT_EQ(frame.width, 64);
  EXPECT_EQ(frame.height, 48);
  EXPECT_THAT(BytesOf(frame), Each(1));
  EXPECT_EQ(graphics.LastTimeoutMs(), 100u);
  EXPECT_THAT(graphics.Log(),
              ElementsAre("AcquireNextFrame", "QueryInterface(ID3D11Texture2D)", "CreateTexture2D",
                          "CopyResource", "Map", "Unmap", "ReleaseFrame", "~Resource", "~Texture"));
}

TEST_F(ScreenCapturerTest, TheStagingTextureIsPlainReadableBgra) {
  Open();
  const D3D11_TEXTURE2D_DESC staging = graphics.LastTexture();
  EXPECT_EQ(staging.Width, 64u);
  EXPECT_EQ(staging.Height, 48u);
  EXPECT_EQ(staging.MipLevels, 1u);
  EXPECT_EQ(staging.ArraySize, 1u);
  EXPECT_EQ(staging.Format, DXGI_FORMAT_B8G8R8A8_UNORM);
  EXPECT_EQ(staging.SampleDesc.Count, 1u);
  EXPECT_EQ(staging.SampleDesc.Quality, 0u);
  EXPECT_EQ(staging.Usage, D3D11_USAGE_STAGING);
  EXPECT_EQ(staging.BindFlags, 0u);
  EXPECT_EQ(staging.CPUAccessFlags, 0x20000u);
  EXPECT_EQ(staging.MiscFlags, 0u);
}

TEST_F(ScreenCapturerTest, TheStagingTextureIsKeptWhileTheSizeStays) {
  Open();
  for (uint8_t shade = 10; shade < 15; ++shade) {
    graphics.ShowNewPicture(0, shade);
    const CapturedFrame frame = capturer->CaptureFrame(kTimeoutMs);
    ASSERT_TRUE(frame.valid);
    EXPECT_THAT(BytesOf(frame), Each(shade));
  }
  EXPECT_EQ(graphics.Count("CreateTexture2D"), 0);
}

TEST_F(ScreenCapturerTest, TimeOutWithAnUnchangedDesktopIsInvalidAndDoesNotTouchTheBuffer) {
  ASSERT_TRUE(capturer->Init(0));
  const CapturedFrame last = capturer->CaptureFrame(kTimeoutMs);
  const std::vector<uint8_t> before = BytesOf(last);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_EQ(BytesOf(last), before);
  EXPECT_EQ(graphics.Count("ReleaseFrame"), 1);
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 1);
}

TEST_F(ScreenCapturerTest, AResolutionChangeGivesANewStagingTextureAndABufferOfTheNewSize) {
  Open();
  graphics.ChangeMode(0, 31, 17);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  graphics.SetRowPadding(12);
  const CapturedFrame frame = capturer->CaptureFrame(kTimeoutMs);
  ASSERT_TRUE(frame.valid);
  EXPECT_EQ(frame.width, 31);
  EXPECT_EQ(frame.height, 17);
  EXPECT_THAT(BytesOf(frame), Each(1));
  EXPECT_EQ(graphics.Count("CreateTexture2D"), 1);
  EXPECT_EQ(graphics.Count("~Staging"), 1);
  EXPECT_EQ(graphics.LastTexture().Width, 31u);
}

TEST_F(ScreenCapturerTest, ASizeChangeWithoutLosingAccessIsFollowedToo) {
  Open();
  graphics.ChangeMonitor(0, [](FakeMonitor& turned) {
    turned.width = 48;
    turned.height = 64;
  });
  const CapturedFrame frame = capturer->CaptureFrame(kTimeoutMs);
  ASSERT_TRUE(frame.valid);
  EXPECT_EQ(frame.width, 48);
  EXPECT_EQ(frame.height, 64);
}

TEST_F(ScreenCapturerTest, PaddingBehindRowsIsDropped) {
  ASSERT_TRUE(capturer->Init(0));
  for (const UINT padding : {4u, 64u, 4096u}) {
    graphics.SetRowPadding(padding);
    graphics.ShowNewPicture(0, static_cast<uint8_t>(padding / 4));
    EXPECT_THAT(BytesOf(capturer->CaptureFrame(kTimeoutMs)),
                Each(static_cast<uint8_t>(padding / 4)));
  }
}

TEST_F(ScreenCapturerTest, APitchShorterThanARowIsNotRead) {
  ASSERT_TRUE(capturer->Init(0));
  graphics.SetRowPadding(FakeGraphics::kShortPitch);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_EQ(graphics.Count("Unmap"), 1);
  EXPECT_EQ(graphics.Count("ReleaseFrame"), 1);
}

TEST_F(ScreenCapturerTest, ATextureThatIsNoPlainBgraPictureIsNotCopied) {
  const std::vector<std::function<void(FakeMonitor&)>> changes = {
      [](FakeMonitor& m) { m.format = DXGI_FORMAT_R16G16B16A16_FLOAT; },
      [](FakeMonitor& m) { m.format = DXGI_FORMAT_R8G8B8A8_UNORM; },
      [](FakeMonitor& m) { m.arraySize = 2; },
      [](FakeMonitor& m) { m.width = 0; },
      [](FakeMonitor& m) { m.height = 0; },
      [](FakeMonitor& m) { m.width = 16385; },
      [](FakeMonitor& m) { m.height = 0x80000000u; },
  };
  Open();
  for (const auto& change : changes) {
    graphics.SetMonitors({FakeMonitor{}});
    graphics.ChangeMonitor(0, change);
    ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  }
  EXPECT_EQ(graphics.Count("CopyResource"), 0);
  graphics.SetMonitors({FakeMonitor{}});
  EXPECT_TRUE(PictureComes());
}

TEST_F(ScreenCapturerTest, AFailedStagingTextureOrMapLeavesTheLastPictureAndReleasesTheFrame) {
  ASSERT_TRUE(capturer->Init(0));
  const CapturedFrame last = capturer->CaptureFrame(kTimeoutMs);
  const std::vector<uint8_t> before = BytesOf(last);
  graphics.ClearLog();
  graphics.ChangeMonitor(0, [](FakeMonitor& m) { m.width = 100; });
  graphics.Fail("CreateTexture2D", E_OUTOFMEMORY, 1);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  graphics.ShowNewPicture(0, 9);
  graphics.Fail("Map", E_FAIL, 1);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_EQ(BytesOf(last), before);
  EXPECT_EQ(graphics.Count("ReleaseFrame"), 2);
  graphics.ShowNewPicture(0, 10);
  EXPECT_EQ(capturer->CaptureFrame(kTimeoutMs).width, 100);
}

// The desktop may stand still for hours after the one picture that could not be read.
TEST_F(ScreenCapturerTest, APictureThatCouldNotBeReadIsFetchedAgainFromAStillDesktop) {
  Open();
  graphics.ShowNewPicture(0, 7);
  graphics.Fail("Map", E_FAIL, 1);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_THAT(BytesOf(capturer->CaptureFrame(kTimeoutMs)), Each(7));
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 1);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 1);
}

// ---- Losing and regaining access

TEST_F(ScreenCapturerTest, LostAccessIsInvalidNowAndOpenedAgainByTheNextCall) {
  Open();
  graphics.TakeAccess();
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_EQ(graphics.Count("~Duplication"), 1);
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 0);
  EXPECT_FALSE(capturer->TakeReopening());
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 1);
  EXPECT_TRUE(capturer->TakeReopening());
  EXPECT_FALSE(capturer->TakeReopening());
  EXPECT_EQ(graphics.Count("D3D11CreateDevice"), 0);
}

TEST_F(ScreenCapturerTest, AFreshStartOpensTheDuplicationAnewForTheNextCapture) {
  Open();
  capturer->StartAfresh();
  EXPECT_EQ(graphics.Count("~Duplication"), 1);
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 0);
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 1);
}

TEST_F(ScreenCapturerTest, OpeningAgainIsTriedByEveryCallUntilItWorks) {
  Open();
  graphics.TakeAccess();
  graphics.Fail("DuplicateOutput", E_ACCESSDENIED);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  for (int call = 0; call < 30; ++call) {
    ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  }
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 30);
  EXPECT_EQ(graphics.Count("D3D11CreateDevice"), 0);
  graphics.StopFailing();
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
}

TEST_F(ScreenCapturerTest, AGrabThatCannotOpenWaitsOutItsTimeOut) {
  Open();
  graphics.TakeAccess();
  graphics.Fail("DuplicateOutput", E_ACCESSDENIED);
  capturer->CaptureFrame(kTimeoutMs);
  EXPECT_EQ(FakeClock::SleptMs(), 0);
  capturer->CaptureFrame(kTimeoutMs);
  EXPECT_EQ(FakeClock::SleptMs(), kTimeoutMs);
}

TEST_F(ScreenCapturerTest, AnotherFailureIsInvalidAndKeepsTheDuplication) {
  Open();
  graphics.ShowNewPicture(0, 3);
  graphics.Fail("AcquireNextFrame", DXGI_ERROR_INVALID_CALL, 3);
  for (int call = 0; call < 3; ++call) {
    ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  }
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  EXPECT_EQ(graphics.Count("~Duplication"), 0);
}

TEST_F(ScreenCapturerTest, ADuplicationThatGoesOnFailingIsReplaced) {
  Open();
  graphics.Fail("AcquireNextFrame", E_FAIL, 20);
  for (int call = 0; call < 20; ++call) {
    ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  }
  EXPECT_EQ(graphics.Count("~Duplication"), 1);
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
}

TEST_F(ScreenCapturerTest, OutputsThatCameOrWentAreKnownAfterOpeningAgain) {
  Open();
  AddMonitorOnTheLeft();
  graphics.MakeOutputsStale();
  graphics.TakeAccess();
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  EXPECT_EQ(graphics.Count("D3D11CreateDevice"), 1);
  EXPECT_EQ(capturer->EnumerateScreens().size(), 2u);
}

TEST_F(ScreenCapturerTest, StaleOutputsWithoutANewDeviceAreStillCaptured) {
  Open();
  graphics.MakeOutputsStale();
  graphics.Fail("D3D11CreateDevice", E_FAIL);
  graphics.TakeAccess();
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
}

// ---- Losing the device

class LostDeviceTest : public ScreenCapturerTest, public testing::WithParamInterface<HRESULT> {};

INSTANTIATE_TEST_SUITE_P(EveryReason, LostDeviceTest,
                         testing::Values(DXGI_ERROR_DEVICE_REMOVED, DXGI_ERROR_DEVICE_RESET,
                                         DXGI_ERROR_DEVICE_HUNG, DXGI_ERROR_DRIVER_INTERNAL_ERROR),
                         [](const auto& reason) {
                           return "Code" + std::to_string(reason.param & 0xFFFF);
                         });

TEST_P(LostDeviceTest, IsReplacedWhenTheNextFrameIsAskedFor) {
  Open();
  graphics.RemoveDevices(GetParam());
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  EXPECT_EQ(graphics.Count("D3D11CreateDevice"), 1);
  EXPECT_EQ(graphics.Count("~Device"), 1);
  EXPECT_EQ(graphics.Count("~Context"), 1);
}

TEST_P(LostDeviceTest, IsNoticedByMapAndByCreateTexture2D) {
  for (const char* call : {"Map", "CreateTexture2D"}) {
    ASSERT_TRUE(capturer->Init(0));
    graphics.ClearLog();
    graphics.Fail(call, GetParam(), 1);
    ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
    EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
    EXPECT_EQ(graphics.Count("D3D11CreateDevice"), 1);
    FakeClock::AdvanceMs(60'000);
  }
}

TEST_P(LostDeviceTest, IsAskedForItsReasonWhenACallFailsWithSomethingElse) {
  Open();
  graphics.RemoveDevices(GetParam());
  graphics.Fail("AcquireNextFrame", E_INVALIDARG, 1);
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
}

TEST_P(LostDeviceTest, IsReplacedWhenDuplicationCannotBeOpenedForIt) {
  Open();
  graphics.TakeAccess();
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  graphics.RemoveDevices(GetParam());
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
}

TEST_F(ScreenCapturerTest, ANewDeviceIsTriedAtOnceAndThenOnceASecondWhileNoneCanBeMade) {
  Open();
  graphics.RemoveDevices(DXGI_ERROR_DEVICE_REMOVED);
  graphics.Fail("D3D11CreateDevice", DXGI_ERROR_NOT_FOUND);
  capturer->CaptureFrame(kTimeoutMs);
  capturer->CaptureFrame(0);
  EXPECT_EQ(graphics.Count("D3D11CreateDevice"), 1);
  const int64_t start = MonotonicNowNs();
  while (MonotonicNowNs() - start < 5000 * kNsPerMs) {
    ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  }
  EXPECT_EQ(graphics.Count("D3D11CreateDevice"), 5);
  EXPECT_EQ(capturer->EnumerateScreens().size(), 1u);
  graphics.StopFailing();
  EXPECT_TRUE(PictureComes());
}

TEST_F(ScreenCapturerTest, ADeviceThatDiesAtOnceIsNotMadeAgainAtOnce) {
  Open();
  for (int loss = 0; loss < 3; ++loss) {
    graphics.RemoveDevices(DXGI_ERROR_DEVICE_RESET);
    capturer->CaptureFrame(0);
    capturer->CaptureFrame(0);
  }
  EXPECT_EQ(graphics.Count("D3D11CreateDevice"), 1);
  EXPECT_TRUE(PictureComes());
}

// ---- Monitors

TEST_F(ScreenCapturerTest, AMonitorLeftOfThePrimaryHasANegativeLeft) {
  AddMonitorOnTheLeft();
  ASSERT_TRUE(capturer->Init(0));
  const std::vector<ScreenInfo> screens = capturer->EnumerateScreens();
  ASSERT_EQ(screens.size(), 2u);
  EXPECT_EQ(screens[0].index, 0u);
  EXPECT_EQ(screens[0].name, "\\\\.\\DISPLAY1");
  EXPECT_EQ(screens[0].width, 64);
  EXPECT_EQ(screens[0].height, 48);
  EXPECT_TRUE(screens[0].primary);
  EXPECT_EQ(screens[1].index, 1u);
  EXPECT_EQ(screens[1].name, "\\\\.\\DISPLAY2");
  EXPECT_EQ(screens[1].left, -32);
  EXPECT_EQ(screens[1].top, 0);
  EXPECT_EQ(screens[1].width, 32);
  EXPECT_EQ(screens[1].height, 24);
  EXPECT_FALSE(screens[1].primary);
}

TEST_F(ScreenCapturerTest, ADetachedOrUnreadableMonitorIsAbsentAndTheNextKeepsItsIndex) {
  FakeMonitor detached;
  detached.attached = false;
  FakeMonitor unreadable;
  unreadable.describeResult = E_FAIL;
  FakeMonitor last;
  last.name = L"\\\\.\\DISPLAY4";
  last.desktop = {100, 0, 200, 50};
  graphics.SetMonitors({FakeMonitor{}, detached, unreadable, last});
  ASSERT_TRUE(capturer->Init(0));
  const std::vector<ScreenInfo> screens = capturer->EnumerateScreens();
  ASSERT_EQ(screens.size(), 2u);
  EXPECT_EQ(screens[0].index, 0u);
  EXPECT_EQ(screens[1].index, 3u);
  EXPECT_EQ(screens[1].name, "\\\\.\\DISPLAY4");
}

TEST_F(ScreenCapturerTest, NamesAreUtf8OfAtMost63BytesCutAtAWholeCharacter) {
  FakeMonitor chinese;
  chinese.name = std::wstring(32, L'屏');
  FakeMonitor mixed;
  // Fills its field to the end, with letters in the memory behind it.
  mixed.name = L"ab" + std::wstring(30, L'é');
  mixed.desktop.left = ('z' << 16) | 'z';
  FakeMonitor broken;
  broken.name = L"x\xD800y";
  FakeMonitor empty;
  empty.name = L"";
  graphics.SetMonitors({chinese, mixed, broken, empty});
  ASSERT_TRUE(capturer->Init(0));
  const std::vector<ScreenInfo> screens = capturer->EnumerateScreens();
  ASSERT_EQ(screens.size(), 4u);
  std::string expected;
  for (int character = 0; character < 21; ++character) expected += "屏";
  EXPECT_EQ(screens[0].name, expected);
  EXPECT_EQ(screens[0].name.size(), 63u);
  EXPECT_EQ(screens[1].name.size(), 62u);
  EXPECT_EQ(screens[2].name, "x\xEF\xBF\xBDy");
  EXPECT_EQ(screens[3].name, "");
}

TEST_F(ScreenCapturerTest, EnumerationStopsAtTheFirstFailure) {
  AddMonitorOnTheLeft();
  ASSERT_TRUE(capturer->Init(0));
  graphics.Fail("EnumOutputs", E_FAIL, 1);
  EXPECT_TRUE(capturer->EnumerateScreens().empty());
  graphics.Fail("GetAdapter", E_FAIL, 1);
  EXPECT_TRUE(capturer->EnumerateScreens().empty());
  graphics.Fail("QueryInterface(IDXGIDevice)", E_FAIL, 1);
  EXPECT_TRUE(capturer->EnumerateScreens().empty());
  EXPECT_EQ(capturer->EnumerateScreens().size(), 2u);
}

// ---- Switching

TEST_F(ScreenCapturerTest, SwitchingToTheCurrentIndexSucceedsAtOnceAndRecreatesNothing) {
  Open();
  EXPECT_TRUE(capturer->SelectOutput(0));
  EXPECT_THAT(graphics.Log(), ElementsAre());
  CursorUpdate update;
  EXPECT_FALSE(capturer->TakeCursorUpdate(update));
}

TEST_F(ScreenCapturerTest, SwitchingOpensTheOtherOutputAndSendsTheCursorAgain) {
  AddMonitorOnTheLeft();
  Open();
  EXPECT_TRUE(capturer->SelectOutput(1));
  EXPECT_EQ(graphics.Count("~Duplication"), 1);
  EXPECT_EQ(graphics.Count("~Staging"), 1);
  EXPECT_EQ(capturer->CurrentOutput(), 1u);
  CursorUpdate update;
  EXPECT_TRUE(capturer->TakeCursorUpdate(update));
  EXPECT_FALSE(capturer->TakeCursorUpdate(update));
  const CapturedFrame frame = capturer->CaptureFrame(kTimeoutMs);
  EXPECT_EQ(frame.width, 32);
  EXPECT_THAT(BytesOf(frame), Each(2));
}

TEST_F(ScreenCapturerTest, SwitchingBeyondTheLastOutputKeepsTheOldScreen) {
  AddMonitorOnTheLeft();
  Open();
  EXPECT_FALSE(capturer->SelectOutput(2));
  EXPECT_EQ(capturer->CurrentOutput(), 0u);
  EXPECT_EQ(graphics.Count("DuplicateOutput"), 1);
  const CapturedFrame frame = capturer->CaptureFrame(kTimeoutMs);
  EXPECT_EQ(frame.width, 64);
  CursorUpdate update;
  EXPECT_FALSE(capturer->TakeCursorUpdate(update));
}

TEST_F(ScreenCapturerTest, ARollBackThatFailsIsMadeUpForByTheNextGrab) {
  AddMonitorOnTheLeft();
  Open();
  graphics.Fail("DuplicateOutput", E_ACCESSDENIED, 2);
  EXPECT_FALSE(capturer->SelectOutput(1));
  EXPECT_EQ(capturer->CurrentOutput(), 0u);
  const CapturedFrame frame = capturer->CaptureFrame(kTimeoutMs);
  ASSERT_TRUE(frame.valid);
  EXPECT_EQ(frame.width, 64);
}

TEST_F(ScreenCapturerTest, ASwitchOnALostDeviceKeepsTheOldScreenOnANewDevice) {
  AddMonitorOnTheLeft();
  Open();
  graphics.RemoveDevices(DXGI_ERROR_DEVICE_REMOVED);
  EXPECT_FALSE(capturer->SelectOutput(1));
  EXPECT_EQ(capturer->CurrentOutput(), 0u);
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  EXPECT_TRUE(capturer->SelectOutput(1));
}

// ---- Pointer

FakePointer VisiblePointer(bool visible) {
  FakePointer pointer;
  pointer.updated = true;
  pointer.visible = visible;
  return pointer;
}

TEST_F(ScreenCapturerTest, HidingTheCursorChangesItOnceAndAnUnchangedVisibilityNot) {
  Open();
  CursorUpdate update;
  graphics.MovePointer(VisiblePointer(true));
  capturer->CaptureFrame(kTimeoutMs);
  EXPECT_TRUE(capturer->TakeCursorUpdate(update));
  EXPECT_TRUE(update.visible);

  graphics.MovePointer(VisiblePointer(true));
  capturer->CaptureFrame(kTimeoutMs);
  EXPECT_FALSE(capturer->TakeCursorUpdate(update));

  graphics.MovePointer(VisiblePointer(false));
  capturer->CaptureFrame(kTimeoutMs);
  EXPECT_TRUE(capturer->TakeCursorUpdate(update));
  EXPECT_FALSE(update.visible);
  EXPECT_FALSE(capturer->TakeCursorUpdate(update));
}

TEST_F(ScreenCapturerTest, VisibilityWithoutAMouseUpdateIsNotLookedAt) {
  Open();
  FakePointer pointer = VisiblePointer(true);
  pointer.updated = false;
  graphics.MovePointer(pointer);
  capturer->CaptureFrame(kTimeoutMs);
  CursorUpdate update;
  EXPECT_FALSE(capturer->TakeCursorUpdate(update));
}

FakePointer ColorPointer() {
  FakePointer pointer;
  pointer.shape.Type = DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR;
  pointer.shape.Width = 1;
  pointer.shape.Height = 2;
  pointer.shape.Pitch = 4;
  pointer.shape.HotSpot = {1, -2};
  pointer.shapeBytes = {1, 2, 3, 4, 5, 6, 7, 8};
  return pointer;
}

TEST_F(ScreenCapturerTest, AShapeIsHandedOverOnceWithItsHotSpot) {
  Open();
  graphics.MovePointer(ColorPointer());
  capturer->CaptureFrame(kTimeoutMs);
  CursorUpdate update;
  ASSERT_TRUE(capturer->TakeCursorUpdate(update));
  EXPECT_EQ(update.width, 1);
  EXPECT_EQ(update.height, 2);
  EXPECT_EQ(update.hotSpotX, 1);
  EXPECT_EQ(update.hotSpotY, -2);
  EXPECT_THAT(update.image, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_FALSE(capturer->TakeCursorUpdate(update));
}

TEST_F(ScreenCapturerTest, TheTakersImageStorageIsUsedAgain) {
  Open();
  CursorUpdate update;
  update.image.reserve(100);
  const uint8_t* storage = update.image.data();
  graphics.MovePointer(ColorPointer());
  capturer->CaptureFrame(kTimeoutMs);
  ASSERT_TRUE(capturer->TakeCursorUpdate(update));
  EXPECT_EQ(update.image.data(), storage);
}

TEST_F(ScreenCapturerTest, AShapeThatCannotBeFetchedChangesNothing) {
  Open();
  graphics.Fail("GetFramePointerShape", E_FAIL, 1);
  graphics.MovePointer(ColorPointer());
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  CursorUpdate update;
  EXPECT_FALSE(capturer->TakeCursorUpdate(update));
}

TEST_F(ScreenCapturerTest, AShapeOfAnUnbelievableSizeIsNotFetched) {
  Open();
  FakePointer pointer = ColorPointer();
  pointer.claimedShapeBytes = 0xFFFFFFFF;
  graphics.MovePointer(pointer);
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  EXPECT_EQ(graphics.Count("GetFramePointerShape"), 0);
}

TEST_F(ScreenCapturerTest, AShapeLargerThanItsBytesGivesTheEmptyImage) {
  Open();
  FakePointer pointer = ColorPointer();
  pointer.shape.Height = 0x7FFFFFFF;
  graphics.MovePointer(pointer);
  EXPECT_TRUE(capturer->CaptureFrame(kTimeoutMs).valid);
  CursorUpdate update;
  ASSERT_TRUE(capturer->TakeCursorUpdate(update));
  EXPECT_EQ(update.width, 0);
  EXPECT_EQ(update.height, 0);
  EXPECT_TRUE(update.image.empty());
}

TEST_F(ScreenCapturerTest, TheCursorIsKnownEvenWhenThePictureCannotBeRead) {
  Open();
  graphics.Fail("Map", E_FAIL, 1);
  graphics.MovePointer(ColorPointer());
  ExpectInvalid(capturer->CaptureFrame(kTimeoutMs));
  CursorUpdate update;
  EXPECT_TRUE(capturer->TakeCursorUpdate(update));
}

// ---- Every call failing, and storms

class FailingCallTest : public ScreenCapturerTest, public testing::WithParamInterface<HRESULT> {
 protected:
  // A life of a capturer with everything in it.
  void Run() {
    AddMonitorOnTheLeft();
    if (!capturer->Init(0) && !capturer->Init(0)) {
      ADD_FAILURE() << "the fault went on for longer than scripted";
    }
    CursorUpdate update;
    capturer->CaptureFrame(kTimeoutMs);
    graphics.MovePointer(ColorPointer());
    capturer->CaptureFrame(kTimeoutMs);
    capturer->TakeCursorUpdate(update);
    capturer->EnumerateScreens();
    capturer->SelectOutput(1);
    capturer->CaptureFrame(kTimeoutMs);
    graphics.ChangeMode(1, 20, 10);
    capturer->CaptureFrame(kTimeoutMs);
    capturer->CaptureFrame(kTimeoutMs);
    capturer->SelectOutput(7);
    graphics.RemoveDevices(DXGI_ERROR_DEVICE_RESET);
    capturer->CaptureFrame(kTimeoutMs);
    capturer->CaptureFrame(kTimeoutMs);
  }
};

INSTANTIATE_TEST_SUITE_P(WithEveryKindOfResult, FailingCallTest,
                         testing::Values(E_FAIL, E_OUTOFMEMORY, DXGI_ERROR_INVALID_CALL,
                                         DXGI_ERROR_WAIT_TIMEOUT, DXGI_ERROR_ACCESS_LOST,
                                         DXGI_ERROR_DEVICE_REMOVED),
                         [](const auto& result) {
                           return "Code" + std::to_string(static_cast<uint32_t>(result.param));
                         });

TEST_P(FailingCallTest, LosesNoReferenceAndCapturesAgain) {
  Run();
  const int steps = graphics.Steps();
  ASSERT_GT(steps, 40);
  for (int failing = 1; failing <= steps; ++failing) {
    SCOPED_TRACE("call number " + std::to_string(failing));
    capturer.reset();
    ASSERT_EQ(graphics.Alive(), 0);
    capturer.emplace();
    graphics.FailStep(failing, GetParam());
    Run();
    EXPECT_TRUE(PictureComes());
    EXPECT_EQ(capturer->EnumerateScreens().size(), 2u);
    const uint32_t other = 1 - capturer->CurrentOutput();
    EXPECT_TRUE(capturer->SelectOutput(other));
    EXPECT_TRUE(PictureComes());
  }
}

TEST_F(ScreenCapturerTest, MonitorsAreListedByManyThreadsWhileDevicesComeAndGo) {
  AddMonitorOnTheLeft();
  Open();
  std::atomic<bool> done{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> askers;
  for (int asker = 0; asker < 4; ++asker) {
    askers.emplace_back([&] {
      while (!done) {
        if (capturer->EnumerateScreens().size() != 2 || capturer->CurrentOutput() > 1) ++wrong;
      }
    });
  }
  int pictures = 0;
  for (int round = 0; round < 300; ++round) {
    if (round % 3 == 0) graphics.RemoveDevices(DXGI_ERROR_DEVICE_REMOVED);
    if (round % 5 == 0) graphics.TakeAccess();
    if (round % 7 == 0) capturer->SelectOutput(round % 2);
    FakeClock::AdvanceMs(1000);
    pictures += PictureComes() ? 1 : 0;
  }
  done = true;
  for (std::thread& asker : askers) asker.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(pictures, 300);
  EXPECT_GE(graphics.Count("~Device"), 90);
}

}  // namespace
}  // namespace talu
