#include <gmock/gmock.h>
#include <mferror.h>

#include "capture/nv12.h"
#include "encoder/encoder_flags.h"
#include "encoder/fakes/encoder_fixture_win.h"
#include "tests/fakes/fake_clock.h"

namespace talu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr char kMissedLine[] = "[agent] 编码器 300ms 内未发出 NeedInput，跳过本帧（MFT 未就绪？）";
constexpr char kFallBackLine[] = "[agent] 硬件异步编码器持续无输出，回退软件编码器重建...";
constexpr char kFellBackLine[] = "[agent] 已回退到软件编码器，下一帧起恢复出流";
constexpr char kRebuildFailedLine[] = "[agent] 软件编码器重建失败";
constexpr char kSilentLine[] = "[agent] 编码器收帧 3 秒无任何输出，重建编码器...";
constexpr char kSoftwareReadyLine[] =
    "[agent] H264 encoder ready: SOFTWARE SYNC MFT, 8x4@30fps 8000kbps CBR";

// The calls of an Encode up to the transform.
const Texts kSampleCalls{"MFCreateMemoryBuffer 48", "Buffer.Lock",
                         "Buffer.Unlock",           "Buffer.SetCurrentLength",
                         "MFCreateSample",          "Sample.AddBuffer",
                         "Sample.SetSampleTime",    "Sample.SetSampleDuration"};
// The calls by which one output of a transform without samples of its own is had.
const Texts kOutputCalls{"MFCreateMemoryBuffer 1048576",
                         "MFCreateSample",
                         "Sample.AddBuffer",
                         "sw.ProcessOutput 0 0 1",
                         "Sample.ConvertToContiguousBuffer",
                         "Buffer.Lock",
                         "Buffer.Unlock"};

Texts operator+(Texts left, const Texts& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

class EncodePath : public EncoderFixture {
 protected:
  // Builds an encoder and forgets what that took.
  void Build(int fps = 30) {
    ASSERT_TRUE(encoder.Init(kWidth, kHeight, fps, 8000));
    system.script.Clear();
    FakeClock::Reset();
    linesBefore = log->Lines().size();
  }

  Texts NewLines() const {
    const Texts lines = log->Lines();
    return {lines.begin() + static_cast<ptrdiff_t>(linesBefore), lines.end()};
  }

  size_t linesBefore = 0;
};

class SynchronousPath : public EncodePath {
 protected:
  TransformScript& software = system.software;
};

TEST_F(SynchronousPath, MakesExactlyTheseCalls) {
  Build();
  EXPECT_TRUE(Encode());
  EXPECT_EQ(system.script.Calls(), kSampleCalls + Texts{"sw.ProcessInput 0 0"} + kOutputCalls +
                                       Texts{"sw.GetOutputStatus"});
  EXPECT_THAT(delivered, ElementsAre(Delivered{{1}, true, 0}));
}

TEST_F(SynchronousPath, GivesTheTransformTheConvertedPicture) {
  Build();
  std::vector<uint8_t> picture(kWidth * kHeight * 4);
  for (size_t index = 0; index < picture.size(); ++index) {
    picture[index] = static_cast<uint8_t>(index * 7);
  }
  EXPECT_TRUE(encoder.Encode(picture.data(), 0, [](const uint8_t*, uint32_t, bool, int64_t) {}));
  std::vector<uint8_t> expected(Nv12Capacity(kWidth, kHeight));
  ConvertBgraToNv12(picture.data(), kWidth, kHeight, expected.data());
  ASSERT_EQ(software.inputs.size(), 1u);
  EXPECT_EQ(software.inputs[0].bytes, expected);
}

TEST_F(SynchronousPath, ConvertsABlackPictureToLuma16AndChroma128) {
  Build();
  const std::vector<uint8_t> picture(kWidth * kHeight * 4, 0);
  EXPECT_TRUE(encoder.Encode(picture.data(), 0, [](const uint8_t*, uint32_t, bool, int64_t) {}));
  std::vector<uint8_t> expected(kWidth * kHeight, 16);
  expected.resize(kWidth * kHeight * 3 / 2, 128);
  EXPECT_EQ(software.inputs.at(0).bytes, expected);
}

TEST_F(SynchronousPath, GivesATimeStampOf1000MsTheSampleTimeTenMillion) {
  Build(25);
  EXPECT_TRUE(Encode(1000));
  ASSERT_EQ(software.inputs.size(), 1u);
  EXPECT_EQ(software.inputs[0].time, 10'000'000);
  EXPECT_EQ(software.inputs[0].duration, 400'000);
  EXPECT_EQ(delivered.at(0).timestampMs, 1000);
}

TEST_F(SynchronousPath, DeliversASampleTimeOf9999999As999Ms) {
  Build();
  software.encodes = false;
  software.outputs.push_back({{1, 2, 3}, 0, 9'999'999});
  EXPECT_TRUE(Encode());
  EXPECT_THAT(delivered, ElementsAre(Delivered{{1, 2, 3}, false, 999}));
}

TEST_F(SynchronousPath, DeliversASampleWithoutTimeOrCleanPointAsTimeZeroAndNoKeyFrame) {
  Build();
  software.encodes = false;
  software.outputs.push_back({{1}, std::nullopt, std::nullopt});
  EXPECT_TRUE(Encode(77));
  EXPECT_THAT(delivered, ElementsAre(Delivered{{1}, false, 0}));
}

TEST_F(SynchronousPath, TakesAnyCleanPointButZeroForAKeyFrame) {
  Build();
  software.encodes = false;
  software.outputs.push_back({{1}, 7, 0});
  EXPECT_TRUE(Encode());
  EXPECT_TRUE(delivered.at(0).keyFrame);
}

TEST_F(SynchronousPath, PassesEveryByteOnAsItIs) {
  Build();
  software.encodes = false;
  const std::vector<uint8_t> unit{0, 0, 0, 1, 0x67, 0, 0, 1, 0x68, 0, 0, 0, 1, 0x65, 0, 0, 3, 0};
  software.outputs.push_back({unit, 1, 0});
  software.outputs.push_back({{}, 0, 0});
  EXPECT_TRUE(Encode());
  EXPECT_THAT(delivered, ElementsAre(Delivered{unit, true, 0}, Delivered{{}, false, 0}));
}

TEST_F(SynchronousPath, UsesTheStreamNumbersThatTheTransformTold) {
  software.streamIds = {3, 5};
  Build();
  EXPECT_TRUE(Encode());
  EXPECT_EQ(system.script.Calls("sw.ProcessInput"), Texts{"sw.ProcessInput 3 0"});
  EXPECT_EQ(system.script.Calls("sw.ProcessOutput"), Texts{"sw.ProcessOutput 5 0 1"});
}

TEST_F(SynchronousPath, DropsAPictureWithoutTransformOrPixels) {
  EXPECT_FALSE(Encode());
  Build();
  EXPECT_FALSE(encoder.Encode(nullptr, 0, [](const uint8_t*, uint32_t, bool, int64_t) {}));
  EXPECT_THAT(system.script.Calls(), IsEmpty());
}

TEST_F(SynchronousPath, DropsAPictureSilentlyWhenItsBufferOrSampleFails) {
  Build();
  for (const char* call : {"MFCreateMemoryBuffer", "Buffer.Lock", "Buffer.Unlock",
                           "Buffer.SetCurrentLength", "MFCreateSample"}) {
    system.script.Fail(call, 1, E_OUTOFMEMORY);
    EXPECT_FALSE(Encode()) << call;
  }
  EXPECT_EQ(system.script.Count("sw.ProcessInput"), 0);
  EXPECT_THAT(NewLines(), IsEmpty());
  EXPECT_TRUE(Encode());
}

TEST_F(SynchronousPath, WritesNothingIntoABufferThatIsTooSmall) {
  Build();
  system.bufferShortage = 1;
  EXPECT_FALSE(Encode());
  EXPECT_EQ(system.script.Calls(),
            (Texts{"MFCreateMemoryBuffer 48", "Buffer.Lock", "Buffer.Unlock"}));
}

TEST_F(SynchronousPath, ReleasesWhatATransformBringsBesideItsOutputAndWithItsFailure) {
  for (const DWORD flag : {DWORD{0}, DWORD{MFT_OUTPUT_STREAM_PROVIDES_SAMPLES}}) {
    software.bringsExtras = true;
    software.outputFlags = flag;
    ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
    EXPECT_TRUE(Encode());
    system.script.Fail("sw.ProcessOutput", 1, E_FAIL);
    EXPECT_TRUE(Encode());
    EXPECT_EQ(FakesAlive::Count(), 1) << "more than the transform is left";
  }
}

TEST_F(SynchronousPath, DrainsOnceAndRetriesOnceWhenNotAccepting) {
  Build();
  software.encodes = false;
  software.outputs.push_back({{9}, 0, 0});
  system.script.Fail("sw.ProcessInput", 1, MF_E_NOTACCEPTING);
  EXPECT_TRUE(Encode());
  EXPECT_EQ(system.script.Calls("sw."),
            (Texts{"sw.ProcessInput 0 0", "sw.ProcessOutput 0 0 1", "sw.ProcessInput 0 0",
                   "sw.ProcessOutput 0 0 1", "sw.GetOutputStatus"}));
  EXPECT_EQ(delivered.size(), 1u);
  EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(SynchronousPath, GivesUpAPictureThatIsNotAcceptedTwice) {
  Build();
  system.script.FailAlways("sw.ProcessInput", MF_E_NOTACCEPTING);
  EXPECT_FALSE(Encode());
  EXPECT_EQ(system.script.Calls("sw."),
            (Texts{"sw.ProcessInput 0 0", "sw.ProcessOutput 0 0 1", "sw.ProcessInput 0 0"}));
  EXPECT_THAT(NewLines(), ElementsAre("[agent] ProcessInput failed hr=0xC00D36B5"));
}

TEST_F(SynchronousPath, DoesNotRetryOtherRefusals) {
  Build();
  system.script.FailAlways("sw.ProcessInput", E_FAIL);
  EXPECT_FALSE(Encode());
  EXPECT_EQ(system.script.Calls("sw."), Texts{"sw.ProcessInput 0 0"});
}

TEST_F(SynchronousPath, LogsTheFirstFiveRefusalsOfTheProcessAndNotTheSixth) {
  Build();
  system.script.FailAlways("sw.ProcessInput", E_FAIL);
  for (int picture = 0; picture < 3; ++picture) EXPECT_FALSE(Encode());
  ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
  for (int picture = 0; picture < 4; ++picture) EXPECT_FALSE(Encode());
  const std::string refused = "[agent] ProcessInput failed hr=0x80004005";
  EXPECT_THAT(NewLines(),
              ElementsAre(refused, refused, refused, kSoftwareReadyLine, refused, refused));
}

TEST_F(SynchronousPath, PullsAtMostEightOutputsPerPicture) {
  Build();
  software.encodes = false;
  for (uint8_t unit = 0; unit < 20; ++unit) software.outputs.push_back({{unit}, 0, 0});
  EXPECT_TRUE(Encode());
  EXPECT_EQ(delivered.size(), 8u);
  EXPECT_TRUE(Encode());
  EXPECT_EQ(delivered.size(), 16u);
  EXPECT_TRUE(Encode());
  EXPECT_EQ(delivered.size(), 20u);
  EXPECT_EQ(delivered.back().bytes, std::vector<uint8_t>{19});
}

TEST_F(SynchronousPath, PullsOnceFromATransformThatTellsNoOutputStatus) {
  software.tellsOutputStatus = false;
  Build();
  software.outputs.push_back({{7}, 0, 0});
  EXPECT_TRUE(Encode());
  EXPECT_EQ(system.script.Count("sw.ProcessOutput"), 1);
  EXPECT_EQ(system.script.Count("sw.GetOutputStatus"), 1);
}

TEST_F(SynchronousPath, GivesBuffersOfTheAdvisedSize) {
  software.outputBytes = 4096;
  Build();
  EXPECT_TRUE(Encode());
  EXPECT_THAT(software.outputBufferSizes, ElementsAre(4096u));
}

TEST_F(SynchronousPath, GivesBuffersOfItsOwnSizeToATransformThatDoesNotTell) {
  software.outputFlags = MFT_OUTPUT_STREAM_PROVIDES_SAMPLES;
  software.outputBytes = 16;
  system.script.FailAlways("sw.GetOutputStreamInfo", E_FAIL);
  Build();
  EXPECT_TRUE(Encode());
  EXPECT_THAT(software.outputBufferSizes, ElementsAre(1'048'576u));
}

TEST_F(SynchronousPath, GivesNoSampleToTransformsThatBringOrMayBringTheirOwn) {
  for (const DWORD flag :
       {MFT_OUTPUT_STREAM_PROVIDES_SAMPLES, MFT_OUTPUT_STREAM_CAN_PROVIDE_SAMPLES}) {
    software.outputFlags = flag;
    ASSERT_TRUE(encoder.Init(kWidth, kHeight, 30, 8000));
    system.script.Clear();
    EXPECT_TRUE(Encode());
    EXPECT_EQ(system.script.Calls("MFCreateMemoryBuffer"), Texts{"MFCreateMemoryBuffer 48"});
  }
  EXPECT_EQ(delivered.size(), 2u);
}

TEST_F(SynchronousPath, DeliversNothingWhenAnOutputCannotBeRead) {
  Build();
  system.script.Fail("Sample.ConvertToContiguousBuffer", 1, E_FAIL);
  EXPECT_TRUE(Encode());
  system.script.Fail("Buffer.Lock", 2, E_FAIL);
  EXPECT_TRUE(Encode());
  EXPECT_THAT(delivered, IsEmpty());
  EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(SynchronousPath, SaysNothingAboutFailedOutput) {
  Build();
  system.script.FailAlways("sw.ProcessOutput", E_FAIL);
  EXPECT_TRUE(Encode());
  EXPECT_THAT(delivered, IsEmpty());
  EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(SynchronousPath, ReleasesEverythingWhenTheSinkThrows) {
  Build();
  const std::vector<uint8_t> picture(kWidth * kHeight * 4);
  EXPECT_THROW(encoder.Encode(picture.data(), 0, EncodedFrameCallback()), std::bad_function_call);
  EXPECT_EQ(FakesAlive::Count(), 1);
}

TEST_F(SynchronousPath, KeepsOddSizesInsideItsBuffer) {
  for (const int32_t oddWidth : {1, 2, 3, 7}) {
    for (const int32_t oddHeight : {1, 3, 5}) {
      ASSERT_TRUE(encoder.Init(oddWidth, oddHeight, 30, 8000));
      const std::vector<uint8_t> picture(static_cast<size_t>(oddWidth * oddHeight * 4), 200);
      EXPECT_TRUE(
          encoder.Encode(picture.data(), 0, [](const uint8_t*, uint32_t, bool, int64_t) {}));
      EXPECT_EQ(software.inputs.back().bytes.size(), Nv12Size(oddWidth, oddHeight));
    }
  }
}

TEST_F(SynchronousPath, GivesATransformTheOutputTypeItAsksFor) {
  software.offered = {MFVideoFormat_NV12, MFVideoFormat_H264};
  Build();
  software.wantsRetype = true;
  software.inputs.clear();
  system.script.Fail("sw.SetOutputType", 1, E_FAIL);
  software.offered.push_back(MFVideoFormat_H264);
  EXPECT_TRUE(Encode());
  EXPECT_EQ(
      system.script.Calls("sw."),
      (Texts{"sw.ProcessInput 0 0", "sw.ProcessOutput 0 0 1", "sw.GetOutputAvailableType 0 0",
             "sw.GetOutputAvailableType 0 1", "sw.SetOutputType 0 0",
             "sw.GetOutputAvailableType 0 2", "sw.SetOutputType 0 0", "sw.GetOutputStreamInfo 0",
             "sw.GetOutputStatus", "sw.ProcessOutput 0 0 1", "sw.GetOutputStatus"}));
  EXPECT_EQ(delivered.size(), 1u);
  EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(SynchronousPath, PullsAgainAfterARetypeWithoutAnOutputStatus) {
  software.offered = {MFVideoFormat_H264};
  software.tellsOutputStatus = false;
  Build();
  software.wantsRetype = true;
  EXPECT_TRUE(Encode());
  EXPECT_EQ(delivered.size(), 1u);
}

class SilentTransform : public EncodePath {
 protected:
  // Encodes at 30 fps.
  void EncodeMany(int count) {
    for (int picture = 0; picture < count; ++picture) {
      FakeClock::AdvanceMs(33);
      Encode();
    }
  }

  // Encodes at 30 fps until the log grows or count pictures are over. Returns the pictures encoded.
  int EncodeUntilLogged(int count = 10'000) {
    linesBefore = log->Lines().size();
    for (int picture = 0; picture < count; ++picture) {
      EncodeMany(1);
      if (log->Lines().size() > linesBefore) return picture + 1;
    }
    return count;
  }
};

TEST_F(SilentTransform, IsRebuiltAfterThreeSeconds) {
  Build();
  system.software.encodes = false;
  EXPECT_EQ(EncodeUntilLogged(), 92);
  EXPECT_THAT(NewLines(), ElementsAre(kSilentLine, kSoftwareReadyLine));
  EXPECT_EQ(system.software.created, 2);
  EXPECT_FALSE(hw_encoder_bad);
  EXPECT_EQ(VerdictFileBytes(), std::nullopt);
  system.software.encodes = true;
  EXPECT_TRUE(Encode());
  EXPECT_EQ(delivered.size(), 1u);
}

TEST_F(SilentTransform, OfHardwareGivesWayToSoftwareForGood) {
  system.AddHardware().encodes = false;
  Build();
  EncodeUntilLogged();
  EXPECT_THAT(NewLines(), ElementsAre(kSilentLine, kSoftwareReadyLine));
  EXPECT_TRUE(hw_encoder_bad);
  EXPECT_EQ(VerdictFileBytes(), std::string(kGpuKey) + "\tbad\r\n");
  EXPECT_FALSE(encoder.IsHardware());
}

TEST_F(SilentTransform, ThatRefusesEveryPictureIsRebuiltToo) {
  system.AddHardware().async = false;
  Build();
  for (int picture = 0; picture < 5; ++picture) sync_input_failures.Take();
  system.script.FailAlways("hw.ProcessInput", E_FAIL);
  EXPECT_EQ(EncodeUntilLogged(), 92);
  EXPECT_THAT(NewLines(), ElementsAre(kSilentLine, kSoftwareReadyLine));
  EXPECT_TRUE(Encode());
}

TEST_F(SilentTransform, IsRebuiltLessAndLessOftenWhileThatDoesNotHelp) {
  Build();
  system.software.encodes = false;
  EncodeUntilLogged();
  EXPECT_EQ(EncodeUntilLogged(), 183);
  EXPECT_EQ(NewLines().front(), "[agent] 编码器收帧 6 秒无任何输出，重建编码器...");
}

TEST_F(SilentTransform, SaysSoWhenItCannotBeRebuilt) {
  Build();
  system.software.encodes = false;
  system.script.FailAlways("CoCreateInstance", E_FAIL);
  EncodeUntilLogged();
  EXPECT_THAT(NewLines(), ElementsAre(kSilentLine, kRebuildFailedLine));
  EXPECT_FALSE(Encode());
  EncodeMany(1000);
  EXPECT_THAT(NewLines(), ElementsAre(kSilentLine, kRebuildFailedLine));
}

TEST_F(SilentTransform, ThatSpeaksInTimeIsLeftAlone) {
  Build();
  for (int round = 0; round < 20; ++round) {
    system.software.encodes = false;
    EncodeMany(80);
    system.software.encodes = true;
    EncodeMany(1);
  }
  EXPECT_EQ(system.software.created, 1);
  EXPECT_THAT(NewLines(), IsEmpty());
}

class AsynchronousPath : public EncodePath {
 protected:
  TransformScript& hardware = system.AddHardware();
};

TEST_F(AsynchronousPath, FeedsTheFirstPictureWithoutWaiting) {
  Build();
  EXPECT_TRUE(Encode());
  EXPECT_EQ(system.script.Calls("hw."),
            (Texts{"hw.ProcessInput 0 0", "hw.GetEvent", "hw.ProcessOutput 0 0 1", "hw.GetEvent"}));
  EXPECT_EQ(FakeClock::SleepCount(), 0);
  EXPECT_THAT(delivered, ElementsAre(Delivered{{1}, true, 0}));
}

TEST_F(AsynchronousPath, WaitsForARequestPerPictureAfterThat) {
  Build();
  EXPECT_TRUE(Encode(0));
  system.script.Clear();
  EXPECT_TRUE(Encode(33));
  EXPECT_EQ(system.script.Calls("hw."), (Texts{"hw.GetEvent", "hw.ProcessInput 0 0", "hw.GetEvent",
                                               "hw.ProcessOutput 0 0 1", "hw.GetEvent"}));
  EXPECT_EQ(FakeClock::SleepCount(), 0);
  EXPECT_THAT(delivered, ElementsAre(Delivered{{1}, true, 0}, Delivered{{2}, false, 33}));
}

TEST_F(AsynchronousPath, PollsEveryMillisecondForALateRequest) {
  Build();
  EXPECT_TRUE(Encode());
  hardware.requestDue = false;
  int sleeps = 0;
  FakeClock::OnSleep([&](int64_t ms) {
    EXPECT_EQ(ms, 1);
    if (++sleeps == 299) hardware.events.push_back(METransformNeedInput);
  });
  EXPECT_TRUE(Encode());
  EXPECT_EQ(FakeClock::SleptMs(), 299);
  EXPECT_EQ(hardware.inputs.size(), 2u);
  EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(AsynchronousPath, DeliversOutputThatComesWhileItWaits) {
  Build();
  hardware.encodes = false;
  EXPECT_TRUE(Encode());
  hardware.requestDue = false;
  hardware.outputs = {{{1}, 1, 0}, {{2}, 0, 0}};
  hardware.events = {METransformHaveOutput, METransformMarker, METransformHaveOutput,
                     METransformNeedInput};
  EXPECT_TRUE(Encode());
  EXPECT_EQ(delivered.size(), 2u);
  EXPECT_EQ(hardware.inputs.size(), 2u);
}

TEST_F(AsynchronousPath, LooksAtNoMoreThanEightEventsAfterAPicture) {
  Build();
  hardware.encodes = false;
  for (uint8_t unit = 0; unit < 12; ++unit) {
    hardware.outputs.push_back({{unit}, 0, 0});
    hardware.events.push_back(METransformHaveOutput);
  }
  EXPECT_TRUE(Encode());
  EXPECT_EQ(delivered.size(), 8u);
  EXPECT_EQ(system.script.Count("hw.GetEvent"), 1 + 8);
}

TEST_F(AsynchronousPath, SwallowsRequestsAmongTheEventsAfterAPicture) {
  Build();
  hardware.asksAgain = false;
  hardware.events = {METransformNeedInput, METransformNeedInput};
  EXPECT_TRUE(Encode());
  EXPECT_TRUE(hardware.events.empty());
  EXPECT_FALSE(Encode());
  EXPECT_THAT(NewLines(), ElementsAre(kMissedLine));
}

TEST_F(AsynchronousPath, StillWaitsWhenTheProbesRequestIsNoLongerOpen) {
  Build();
  hardware.events.push_back(METransformNeedInput);
  system.script.Fail("hw.ProcessInput", 1, MF_E_NOTACCEPTING);
  EXPECT_TRUE(Encode());
  EXPECT_EQ(hardware.inputs.size(), 1u);
  EXPECT_THAT(NewLines(), IsEmpty());
  EXPECT_TRUE(Encode());
  EXPECT_EQ(system.script.Count("hw.ProcessInput"), 3) << "the open request was forgotten";
}

TEST_F(AsynchronousPath, DropsAPictureThatIsNotAskedForWithin300Ms) {
  hardware.asksAgain = false;
  Build();
  EXPECT_TRUE(Encode());
  FakeClock::Reset();
  EXPECT_FALSE(Encode());
  EXPECT_EQ(FakeClock::SleptMs(), 300);
  EXPECT_THAT(NewLines(), ElementsAre(kMissedLine));
  EXPECT_TRUE(encoder.IsHardware());
  EXPECT_FALSE(hw_encoder_bad);
}

TEST_F(AsynchronousPath, FallsBackToSoftwareAfterTwoSilentPicturesInARow) {
  hardware.asksAgain = false;
  Build();
  EXPECT_TRUE(Encode());
  encoder.SetBitrate(3000);
  linesBefore = log->Lines().size();
  EXPECT_FALSE(Encode());
  EXPECT_FALSE(Encode());
  EXPECT_THAT(NewLines(), ElementsAre(kMissedLine, kMissedLine, kFallBackLine, kSoftwareReadyLine,
                                      kFellBackLine));
  EXPECT_TRUE(hw_encoder_bad);
  EXPECT_EQ(VerdictFileBytes(), std::string(kGpuKey) + "\tbad\r\n");
  EXPECT_FALSE(encoder.IsHardware());
  EXPECT_EQ(system.software.inputs.size(), 0u);
  EXPECT_TRUE(Encode());
  EXPECT_EQ(system.software.inputs.size(), 1u);
  EXPECT_EQ(system.MediaFoundationHeld(), 1);
  EXPECT_EQ(system.ComHeld(), 1);
}

TEST_F(AsynchronousPath, RebuildsWithInitsBitrateNotTheLastChange) {
  hardware.asksAgain = false;
  Build();
  Encode();
  encoder.SetBitrate(3000);
  Encode();
  Encode();
  EXPECT_EQ(system.script.Calls("sw.SetValue MeanBitRate"),
            Texts{"sw.SetValue MeanBitRate UI4 8000000"});
}

TEST_F(AsynchronousPath, LeavesARequestOfTheOldTransformUnanswered) {
  system.software.async = true;
  Build();
  system.script.FailAlways("hw.ProcessInput", E_FAIL);
  Encode();
  Encode();
  ASSERT_FALSE(encoder.IsHardware());
  system.script.Clear();
  EXPECT_TRUE(Encode());
  EXPECT_EQ(system.script.Calls("sw.").front(), "sw.GetEvent");
}

TEST_F(AsynchronousPath, CapsTheRateOfTheRebuiltEncoder) {
  hardware.asksAgain = false;
  Build(60);
  EXPECT_EQ(encoder.fps, 60);
  Encode();
  Encode();
  Encode();
  EXPECT_EQ(encoder.fps, 30);
}

TEST_F(AsynchronousPath, StartsTheCountOverAfterAnAcceptedPicture) {
  hardware.asksAgain = false;
  Build();
  EXPECT_TRUE(Encode());
  for (int round = 0; round < 3; ++round) {
    EXPECT_FALSE(Encode());
    hardware.events.push_back(METransformNeedInput);
    EXPECT_TRUE(Encode());
  }
  EXPECT_TRUE(encoder.IsHardware());
}

TEST_F(AsynchronousPath, TreatsARefusedPictureLikeOneNotAskedFor) {
  Build();
  EXPECT_TRUE(Encode());
  system.script.FailAlways("hw.ProcessInput", E_FAIL);
  EXPECT_FALSE(Encode());
  EXPECT_THAT(NewLines(), ElementsAre("[agent] ProcessInput(async) 失败 0x80004005", kMissedLine));
  EXPECT_EQ(FakeClock::SleptMs(), 0);
  hardware.events.push_back(METransformNeedInput);
  EXPECT_FALSE(Encode());
  EXPECT_FALSE(encoder.IsHardware());
}

TEST_F(AsynchronousPath, LogsTheFirstThreeRefusalsOfTheProcessAndNotTheFourth) {
  system.hardware.clear();
  system.software.async = true;
  Build();
  system.script.FailAlways("sw.ProcessInput", E_FAIL);
  for (int picture = 0; picture < 4; ++picture) {
    system.software.events = {METransformNeedInput};
    EXPECT_FALSE(Encode());
  }
  const std::string refused = "[agent] ProcessInput(async) 失败 0x80004005";
  EXPECT_THAT(NewLines(), ElementsAre(refused, kMissedLine, refused, kMissedLine, refused,
                                      kMissedLine, kMissedLine));
}

TEST_F(AsynchronousPath, NeverFallsBackWithoutHardware) {
  system.hardware.clear();
  system.software.async = true;
  system.software.asksFirst = false;
  Build();
  for (int picture = 0; picture < 200; ++picture) EXPECT_FALSE(Encode());
  EXPECT_EQ(NewLines(), Texts(200, kMissedLine));
  EXPECT_EQ(system.software.created, 1);
  EXPECT_FALSE(hw_encoder_bad);
}

TEST_F(AsynchronousPath, SaysSoWhenSoftwareCannotBeBuiltAndDropsPicturesFromThen) {
  hardware.asksAgain = false;
  Build();
  Encode();
  system.script.FailAlways("CoCreateInstance", E_FAIL);
  Encode();
  Encode();
  EXPECT_THAT(NewLines(), ElementsAre(kMissedLine, kMissedLine, kFallBackLine, kRebuildFailedLine));
  EXPECT_FALSE(Encode());
  EXPECT_EQ(NewLines().size(), 4u);
}

TEST_F(AsynchronousPath, LogsRefusalsOfARebuiltTransformWhoseTypesWereRefused) {
  hardware.asksAgain = false;
  Build();
  Encode();
  system.script.FailAlways("sw.SetInputType", E_FAIL);
  system.script.FailAlways("sw.ProcessInput", MF_E_TRANSFORM_TYPE_NOT_SET);
  Encode();
  Encode();
  EXPECT_EQ(NewLines().back(), kRebuildFailedLine);
  EXPECT_FALSE(Encode());
  EXPECT_EQ(NewLines().back(), "[agent] ProcessInput failed hr=0xC00D6D60");
  const int created = system.software.created;
  for (int picture = 0; picture < 200; ++picture) {
    FakeClock::AdvanceMs(33);
    EXPECT_FALSE(Encode());
  }
  EXPECT_EQ(system.software.created, created) << "an encoder that never was ready was rebuilt";
}

TEST_F(AsynchronousPath, TakesADeadEventQueueForSilence) {
  Build();
  Encode();
  system.script.FailAlways("hw.GetEvent", MF_E_SHUTDOWN);
  EXPECT_FALSE(Encode());
  EXPECT_EQ(FakeClock::SleptMs(), 300);
  EXPECT_FALSE(Encode());
  EXPECT_FALSE(encoder.IsHardware());
}

TEST_F(AsynchronousPath, GivesATransformTheOutputTypeItAsksFor) {
  hardware.offered = {MFVideoFormat_H264};
  Build();
  hardware.wantsRetype = true;
  EXPECT_TRUE(Encode());
  EXPECT_THAT(system.script.Calls("hw.SetOutputType"), ElementsAre("hw.SetOutputType 0 0"));
}

using KeyFrames = EncodePath;

TEST_F(KeyFrames, AreForcedThroughTheCodecApi) {
  Build();
  encoder.ForceKeyFrame();
  EXPECT_THAT(system.script.Calls(), ElementsAre("sw.SetValue ForceKeyFrame UI4 1"));
  EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(KeyFrames, ThatAreRefusedAreNotMentioned) {
  Build();
  system.script.FailAlways("sw.SetValue", E_FAIL);
  encoder.ForceKeyFrame();
  EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(KeyFrames, AreNotForcedOnAnEncoderWithoutCodecApi) {
  system.software.hasCodecApi = false;
  Build();
  encoder.ForceKeyFrame();
  EXPECT_THAT(system.script.Calls(), IsEmpty());
}

}  // namespace
}  // namespace talu
