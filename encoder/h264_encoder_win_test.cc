#include "encoder/h264_encoder.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <utility>

#include "encoder/encoder_flags.h"
#include "encoder/fakes/encoder_fixture_win.h"
#include "tests/fakes/fake_clock.h"

namespace talu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr char kProbeLine[] =
    "[agent] 硬编 600ms 未发首个 NeedInput，判定本机硬编不可用，回退软件编码器";
constexpr char kManagerLine[] = "[agent] SET_D3D_MANAGER -> 0x00000000";

class EncoderInit : public EncoderFixture {
 protected:
  static std::string ReadyLine(const std::string& kind, int fps = 30, int kbps = 8000) {
    return "[agent] H264 encoder ready: " + kind + " MFT, 8x4@" + std::to_string(fps) + "fps " +
           std::to_string(kbps) + "kbps CBR";
  }
};

TEST_F(EncoderInit, DoesNothingBefore) {
  EXPECT_EQ(encoder.width, 0);
  EXPECT_EQ(encoder.height, 0);
  EXPECT_EQ(encoder.fps, 30);
  encoder.SetBitrate(3000);
  encoder.ForceKeyFrame();
  EXPECT_FALSE(Encode());
  EXPECT_FALSE(encoder.IsHardware());
  encoder.Shutdown();
  EXPECT_THAT(system.script.Calls(), IsEmpty());
  EXPECT_EQ(log->Text(), "");
}

TEST_F(EncoderInit, BuildsSoftwareInExactlyThisOrder) {
  force_software_encoder = true;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(
      system.script.Calls(),
      ElementsAre("CoInitializeEx", "MFStartup", "CoCreateInstance", "sw.GetAttributes",
                  "sw.SetAttribute ASYNC_UNLOCK 1", "sw.SetAttribute LOW_LATENCY 1",
                  "sw.Query EventGenerator", "sw.Query CodecApi", "sw.GetStreamIDs 1 1",
                  "sw.SetValue RateControlMode UI4 0", "sw.SetValue MeanBitRate UI4 8000000",
                  "sw.SetValue BPictureCount UI4 0", "sw.SetValue LowLatency BOOL TRUE",
                  "sw.SetValue GOPSize UI4 60", "MFCreateMediaType", "sw.SetOutputType 0 0",
                  "MFCreateMediaType", "sw.SetInputType 0 0", "sw.GetOutputStreamInfo 0",
                  "sw.ProcessMessage FLUSH 0", "sw.ProcessMessage BEGIN_STREAMING 0",
                  "sw.ProcessMessage START_OF_STREAM 0"));
  EXPECT_THAT(system.software.outputType,
              ElementsAre("MAJOR_TYPE Video", "SUBTYPE H264", "AVG_BITRATE 8000000",
                          "FRAME_SIZE 8x4", "FRAME_RATE 30x1", "PIXEL_ASPECT_RATIO 1x1",
                          "INTERLACE_MODE 2", "MPEG2_PROFILE 77"));
  EXPECT_THAT(system.software.inputType,
              ElementsAre("MAJOR_TYPE Video", "SUBTYPE NV12", "FRAME_SIZE 8x4", "FRAME_RATE 30x1",
                          "PIXEL_ASPECT_RATIO 1x1", "INTERLACE_MODE 2"));
}

TEST_F(EncoderInit, BuildsHardwareInExactlyThisOrder) {
  system.AddHardware();
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 60, 3000));
  EXPECT_THAT(
      system.script.Calls(),
      ElementsAre("CoInitializeEx", "MFStartup", "MFTEnumEx flags 0x44 Video/NV12 Video/H264",
                  "hw.Activate", "hw.GetAttributes", "hw.SetAttribute ASYNC_UNLOCK 1",
                  "hw.SetAttribute LOW_LATENCY 1", "hw.Query EventGenerator", "hw.Query CodecApi",
                  "D3d11CreateDevice flags 0x820 0xB100 0xB000 0xA100 0xA000",
                  "Device.QueryMultithread", "Multithread.Protect TRUE",
                  "MFCreateDXGIDeviceManager", "Manager.ResetDevice 4711",
                  "hw.ProcessMessage SET_D3D_MANAGER object", "hw.GetStreamIDs 1 1",
                  "hw.SetValue RateControlMode UI4 0", "hw.SetValue MeanBitRate UI4 3000000",
                  "hw.SetValue BPictureCount UI4 0", "hw.SetValue LowLatency BOOL TRUE",
                  "hw.SetValue GOPSize UI4 120", "MFCreateMediaType", "hw.SetOutputType 0 0",
                  "MFCreateMediaType", "hw.SetInputType 0 0", "hw.GetOutputStreamInfo 0",
                  "hw.ProcessMessage FLUSH 0", "hw.ProcessMessage BEGIN_STREAMING 0",
                  "hw.ProcessMessage START_OF_STREAM 0", "hw.GetEvent"));
  EXPECT_THAT(log->Lines(), ElementsAre(kManagerLine, ReadyLine("HARDWARE ASYNC", 60, 3000)));
  EXPECT_EQ(encoder.fps, 60);
  EXPECT_TRUE(encoder.IsHardware());
  EXPECT_THAT(system.hardware.front().outputType,
              ElementsAre("MAJOR_TYPE Video", "SUBTYPE H264", "AVG_BITRATE 3000000",
                          "FRAME_SIZE 8x4", "FRAME_RATE 60x1", "PIXEL_ASPECT_RATIO 1x1",
                          "INTERLACE_MODE 2", "MPEG2_PROFILE 77"));
}

TEST_F(EncoderInit, Uses30ForARateOfZeroOrBelow) {
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 0, 8000));
  EXPECT_EQ(encoder.fps, 30);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, -7, 8000));
  EXPECT_EQ(encoder.fps, 30);
}

TEST_F(EncoderInit, SettlesOn30ForARequestOf60InSoftware) {
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 60, 8000));
  EXPECT_EQ(encoder.fps, 30);
  EXPECT_THAT(log->Lines(), ElementsAre(ReadyLine("SOFTWARE SYNC", 30)));
  EXPECT_THAT(system.software.outputType, testing::Contains("FRAME_RATE 30x1"));
}

TEST_F(EncoderInit, GivesTheGopTwoSecondsOfTheSettledRate) {
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 25, 8000));
  EXPECT_EQ(encoder.fps, 25);
  EXPECT_THAT(system.script.Calls("sw.SetValue GOPSize"),
              ElementsAre("sw.SetValue GOPSize UI4 50"));
  system.script.Clear();
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 60, 8000));
  EXPECT_THAT(system.script.Calls("sw.SetValue GOPSize"),
              ElementsAre("sw.SetValue GOPSize UI4 60"));
}

TEST_F(EncoderInit, EnumeratesNoHardwareWhenSoftwareIsForced) {
  system.AddHardware();
  force_software_encoder = true;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("MFTEnumEx"), 0);
  EXPECT_THAT(log->Lines(), ElementsAre(ReadyLine("SOFTWARE SYNC")));
}

TEST_F(EncoderInit, EnumeratesNoHardwareThatIsKnownBad) {
  system.AddHardware();
  hw_encoder_bad = true;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("MFTEnumEx"), 0);
  EXPECT_FALSE(encoder.IsHardware());
}

TEST_F(EncoderInit, FallsToSoftwareSilentlyWhenHardwareRefusesTheOutputType) {
  system.AddHardware();
  system.script.FailAlways("hw.SetOutputType", E_FAIL);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(log->Lines(), ElementsAre(kManagerLine, ReadyLine("SOFTWARE SYNC")));
  EXPECT_FALSE(hw_encoder_bad);
  EXPECT_EQ(VerdictFileBytes(), std::nullopt);
}

TEST_F(EncoderInit, FallsToSoftwareWhenHardwareRefusesTheInputType) {
  system.AddHardware();
  system.script.FailAlways("hw.SetInputType", E_FAIL);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 60, 8000));
  EXPECT_EQ(encoder.fps, 30);
  EXPECT_FALSE(encoder.IsHardware());
}

TEST_F(EncoderInit, KeepsNothingOfTheRefusedHardware) {
  system.AddHardware();
  system.script.FailAlways("hw.SetOutputType", E_FAIL);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(FakesAlive::Count(), 1) << "more than the software transform is held";
}

TEST_F(EncoderInit, TakesTheFirstHardwareThatCanBeActivated) {
  system.AddHardware("hw");
  system.AddHardware("hw2");
  system.AddHardware("hw3");
  system.script.FailAlways("hw.Activate", E_FAIL);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("hw.Activate"), 1);
  EXPECT_EQ(system.script.Count("hw2.Activate"), 1);
  EXPECT_EQ(system.script.Count("hw3.Activate"), 0);
  EXPECT_GT(system.script.Count("hw2.SetOutputType"), 0);
  EXPECT_TRUE(encoder.IsHardware());
}

TEST_F(EncoderInit, FallsToSoftwareWhenNoHardwareCanBeActivated) {
  system.AddHardware("hw");
  system.AddHardware("hw2");
  system.script.FailAlways("hw.Activate", E_FAIL);
  system.script.FailAlways("hw2.Activate", E_FAIL);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(log->Lines(), ElementsAre(ReadyLine("SOFTWARE SYNC")));
}

TEST_F(EncoderInit, FallsToSoftwareWhenTheEnumerationFails) {
  system.AddHardware();
  system.script.FailAlways("MFTEnumEx", E_FAIL);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(log->Lines(), ElementsAre(ReadyLine("SOFTWARE SYNC")));
}

TEST_F(EncoderInit, CarriesOnWithoutADirect3dDevice) {
  system.AddHardware();
  system.script.FailAlways("D3d11CreateDevice", static_cast<int32_t>(DXGI_ERROR_UNSUPPORTED));
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(log->Lines(),
              ElementsAre("[agent] D3D11CreateDevice 失败 0x887A0004",
                          "[agent] D3D manager 创建失败，硬编可能不出帧（将由回退软编兜底）",
                          ReadyLine("HARDWARE ASYNC")));
  EXPECT_THAT(system.script.Calls("hw.ProcessMessage SET_D3D"), IsEmpty());
}

TEST_F(EncoderInit, CarriesOnWithoutADeviceManager) {
  system.AddHardware();
  system.script.FailAlways("MFCreateDXGIDeviceManager", E_OUTOFMEMORY);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(log->Lines(),
              ElementsAre("[agent] MFCreateDXGIDeviceManager 失败 0x8007000E",
                          "[agent] D3D manager 创建失败，硬编可能不出帧（将由回退软编兜底）",
                          ReadyLine("HARDWARE ASYNC")));
}

TEST_F(EncoderInit, CarriesOnWhenTheManagerRefusesTheDevice) {
  system.AddHardware();
  system.script.FailAlways("Manager.ResetDevice", E_INVALIDARG);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(log->Lines(),
              ElementsAre("[agent] ResetDevice 失败 0x80070057",
                          "[agent] D3D manager 创建失败，硬编可能不出帧（将由回退软编兜底）",
                          ReadyLine("HARDWARE ASYNC")));
  EXPECT_EQ(FakesAlive::Count(), 1) << "a device that nobody uses is held";
}

TEST_F(EncoderInit, LogsWhatTheTransformSaysToTheManagerAndCarriesOn) {
  system.AddHardware();
  system.script.Fail("hw.ProcessMessage", 1, E_NOTIMPL);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(log->Lines().front(), "[agent] SET_D3D_MANAGER -> 0x80004001");
  EXPECT_TRUE(encoder.IsHardware());
}

TEST_F(EncoderInit, DoesWithoutMultithreadProtection) {
  system.AddHardware();
  system.graphics.hasMultithread = false;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("Multithread.Protect"), 0);
  EXPECT_EQ(log->Lines().front(), kManagerLine);
}

TEST_F(EncoderInit, AdoptsTheStreamNumbersThatTheTransformTells) {
  system.software.streamIds = {3, 5};
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Calls("sw.SetOutputType"), Texts{"sw.SetOutputType 5 0"});
  EXPECT_EQ(system.script.Calls("sw.SetInputType"), Texts{"sw.SetInputType 3 0"});
  EXPECT_EQ(system.script.Calls("sw.GetOutputStreamInfo"), Texts{"sw.GetOutputStreamInfo 5"});
}

TEST_F(EncoderInit, DoesWithoutAttributesAndCodecApi) {
  system.software.hasAttributes = false;
  system.software.hasCodecApi = false;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("sw.SetAttribute"), 0);
  EXPECT_EQ(system.script.Count("sw.SetValue"), 0);
}

TEST_F(EncoderInit, IgnoresPropertiesAndMessagesThatAreRefused) {
  system.script.FailAlways("sw.SetAttribute", E_FAIL);
  system.script.FailAlways("sw.SetValue", E_NOTIMPL);
  system.script.FailAlways("sw.ProcessMessage", E_NOTIMPL);
  system.script.FailAlways("sw.GetOutputStreamInfo", E_FAIL);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("sw.SetAttribute"), 2);
  EXPECT_EQ(system.script.Count("sw.SetValue"), 5);
  EXPECT_THAT(log->Lines(), ElementsAre(ReadyLine("SOFTWARE SYNC")));
}

TEST_F(EncoderInit, ToleratesAThreadInAnotherApartment) {
  system.script.FailAlways("CoInitializeEx", RPC_E_CHANGED_MODE);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  encoder.Shutdown();
  EXPECT_EQ(system.script.Count("CoUninitialize"), 0);
}

TEST_F(EncoderInit, OwesComForAThreadThatHadItAlready) {
  system.script.FailAlways("CoInitializeEx", S_FALSE);
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  encoder.Shutdown();
  EXPECT_EQ(system.script.Count("CoUninitialize"), 1);
}

TEST_F(EncoderInit, FailsSilentlyWithoutMediaFoundation) {
  system.script.FailAlways("MFStartup", E_NOTIMPL);
  EXPECT_FALSE(encoder.Init(kWidth, kHeight, 60, 8000));
  EXPECT_EQ(system.script.Calls(), (Texts{"CoInitializeEx", "MFStartup"}));
  EXPECT_EQ(log->Text(), "");
  EXPECT_FALSE(Encode());
  encoder.Shutdown();
  EXPECT_EQ(system.script.Count("MFShutdown"), 0);
  EXPECT_EQ(system.script.Count("CoUninitialize"), 1);
}

TEST_F(EncoderInit, FailsSilentlyWithoutAnyTransformAfterTwoAttempts) {
  system.script.FailAlways("CoCreateInstance", REGDB_E_CLASSNOTREG);
  EXPECT_FALSE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("CoCreateInstance"), 1) << "hardware was the other attempt";
  EXPECT_EQ(log->Text(), "");
  EXPECT_FALSE(Encode());

  force_software_encoder = true;
  EXPECT_FALSE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("CoCreateInstance"), 3);
}

TEST_F(EncoderInit, RefusesSizesThatNoPictureHas) {
  EXPECT_FALSE(encoder.Init(0, kHeight, 30, 8000));
  EXPECT_FALSE(encoder.Init(kWidth, -2, 30, 8000));
  EXPECT_FALSE(encoder.Init(0x7FFFFFFE, 0x7FFFFFFE, 30, 8000));
  EXPECT_FALSE(Encode());
  EXPECT_EQ(log->Text(), "");
}

TEST_F(EncoderInit, ReportsSynchronousHardwareWithoutAProbe) {
  system.AddHardware().async = false;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(log->Lines().back(), ReadyLine("HARDWARE SYNC"));
  EXPECT_EQ(FakeClock::SleptMs(), 0);
}

TEST_F(EncoderInit, ReportsAsynchronousSoftwareWithoutAProbe) {
  system.software.async = true;
  system.software.asksFirst = false;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(log->Lines(), ElementsAre(ReadyLine("SOFTWARE ASYNC")));
  EXPECT_EQ(system.script.Count("sw.GetEvent"), 0);
}

TEST_F(EncoderInit, WaitsForAFirstRequestThatComesLate) {
  TransformScript& hardware = system.AddHardware();
  hardware.asksFirst = false;
  int sleeps = 0;
  FakeClock::OnSleep([&](int64_t) {
    if (++sleeps == 599) hardware.events.push_back(METransformNeedInput);
  });
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_TRUE(encoder.IsHardware());
  EXPECT_EQ(FakeClock::SleptMs(), 599);
  EXPECT_EQ(FakeClock::SleepCount(), 599);
}

TEST_F(EncoderInit, LooksPastOtherEventsForTheFirstRequest) {
  TransformScript& hardware = system.AddHardware();
  hardware.asksFirst = false;
  FakeClock::OnSleep([&](int64_t) {
    hardware.events = {METransformHaveOutput, METransformDrainComplete, METransformNeedInput};
  });
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_TRUE(encoder.IsHardware());
  EXPECT_EQ(system.script.Count("hw.ProcessOutput"), 0);
  EXPECT_EQ(FakeClock::SleptMs(), 1);
}

TEST_F(EncoderInit, GivesUpHardwareThatNeverAsksForInput) {
  system.AddHardware().asksFirst = false;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 60, 3000));
  EXPECT_EQ(FakeClock::SleptMs(), 600);
  EXPECT_THAT(log->Lines(),
              ElementsAre(kManagerLine, kProbeLine, ReadyLine("SOFTWARE SYNC", 30, 3000)));
  EXPECT_TRUE(hw_encoder_bad);
  EXPECT_EQ(VerdictFileBytes(), std::string(kGpuKey) + "\tbad\r\n");
  EXPECT_FALSE(encoder.IsHardware());
  EXPECT_EQ(encoder.fps, 30);
  EXPECT_EQ(system.script.Count("MFTEnumEx"), 1);
  EXPECT_THAT(
      system.script.Calls("hw.ProcessMessage END"),
      ElementsAre("hw.ProcessMessage END_OF_STREAM 0", "hw.ProcessMessage END_STREAMING 0"));
  EXPECT_EQ(system.MediaFoundationHeld(), 1);
  EXPECT_TRUE(Encode(5));
  EXPECT_EQ(delivered.size(), 1u);
}

TEST_F(EncoderInit, BoundsTheProbeOfHardwareThatTalksWithoutAsking) {
  TransformScript& hardware = system.AddHardware();
  hardware.asksFirst = false;
  FakeClock::OnSleep([&](int64_t) { hardware.events.push_back(METransformMarker); });
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_FALSE(encoder.IsHardware());
  EXPECT_EQ(FakeClock::SleptMs(), 600);
}

TEST_F(EncoderInit, FailsWhenTheProbeFailsAndSoftwareIsMissing) {
  system.AddHardware().asksFirst = false;
  system.script.FailAlways("CoCreateInstance", REGDB_E_CLASSNOTREG);
  EXPECT_FALSE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_THAT(log->Lines(), ElementsAre(kManagerLine, kProbeLine));
  EXPECT_FALSE(encoder.IsHardware());
}

TEST_F(EncoderInit, SkipsHardwareInLaterEncodersOfTheProcess) {
  system.AddHardware().asksFirst = false;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  H264Encoder later;
  ASSERT_TRUE(later.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Count("MFTEnumEx"), 1);
}

using EncoderShutdown = EncoderInit;

TEST_F(EncoderShutdown, EndsTheStreamOnceInThisOrder) {
  system.AddHardware();
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  system.script.Clear();
  encoder.Shutdown();
  encoder.Shutdown();
  EXPECT_THAT(system.script.Calls(),
              ElementsAre("hw.ProcessMessage END_OF_STREAM 0", "hw.ProcessMessage END_STREAMING 0",
                          "MFShutdown", "CoUninitialize"));
  EXPECT_EQ(FakesAlive::Count(), 1) << "more than the transform is held by its two interfaces";
  EXPECT_FALSE(Encode());
}

TEST_F(EncoderShutdown, LeavesTheCodecAliveForALateBitrateChange) {
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  encoder.Shutdown();
  encoder.SetBitrate(3000);
  EXPECT_EQ(system.script.Calls("sw.SetValue").back(), "sw.SetValue MeanBitRate UI4 3000000");
  EXPECT_EQ(FakesAlive::Count(), 1);
}

TEST_F(EncoderShutdown, CleansUpAfterAFailedInit) {
  system.script.FailAlways("sw.SetInputType", E_FAIL);
  EXPECT_FALSE(encoder.Init(kWidth, kHeight, 30, 8000));
  encoder.Shutdown();
  EXPECT_EQ(system.MediaFoundationHeld(), 0);
  EXPECT_EQ(system.ComHeld(), 0);
}

using EncoderBitrate = EncoderInit;

TEST_F(EncoderBitrate, ReachesTheTransformAndTheLog) {
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  system.script.Clear();
  encoder.SetBitrate(3000);
  EXPECT_THAT(system.script.Calls(), ElementsAre("sw.SetValue MeanBitRate UI4 3000000"));
  EXPECT_EQ(log->Lines().back(), "[agent] encoder SetBitrate 3000 kbps -> 0x00000000");
  system.script.FailAlways("sw.SetValue", E_NOTIMPL);
  encoder.SetBitrate(1);
  EXPECT_EQ(log->Lines().back(), "[agent] encoder SetBitrate 1 kbps -> 0x80004001");
}

TEST_F(EncoderBitrate, IgnoresZeroAndMinusFiveWithoutALine) {
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  system.script.Clear();
  const std::string before = log->Text();
  encoder.SetBitrate(0);
  encoder.SetBitrate(-5);
  EXPECT_THAT(system.script.Calls(), IsEmpty());
  EXPECT_EQ(log->Text(), before);
}

TEST_F(EncoderBitrate, DoesNothingOnAnEncoderWithoutCodecApi) {
  system.software.hasCodecApi = false;
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  const std::string before = log->Text();
  encoder.SetBitrate(3000);
  EXPECT_EQ(system.script.Count("sw.SetValue"), 0);
  EXPECT_EQ(log->Text(), before);
}

TEST_F(EncoderBitrate, IsLostWhileTheTransformIsReplaced) {
  system.script.OnCall("sw.SetOutputType", [this] { encoder.SetBitrate(3000); });
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  EXPECT_EQ(system.script.Calls("sw.SetValue MeanBitRate"),
            Texts{"sw.SetValue MeanBitRate UI4 8000000"});
  EXPECT_THAT(log->Lines(), ElementsAre(ReadyLine("SOFTWARE SYNC")));
}

TEST_F(EncoderBitrate, DoesNotWaitForARebuildNorTheRebuildForIt) {
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  bool rebuilt = false;
  system.script.OnCall("sw.SetValue", [&] {
    if (!std::exchange(rebuilt, true)) {
      encoder.Shutdown();
      EXPECT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
    }
  });
  encoder.SetBitrate(3000);
  EXPECT_TRUE(rebuilt);
}

TEST_F(EncoderBitrate, MayChangeWhileTheEncoderIsRebuiltOnAnotherThread) {
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  std::atomic<bool> stop{false};
  std::thread changer([&] {
    while (!stop) encoder.SetBitrate(3000);
  });
  for (int rebuild = 0; rebuild < 200; ++rebuild) {
    encoder.Shutdown();
    EXPECT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  }
  stop = true;
  changer.join();
}

}  // namespace
}  // namespace talu
