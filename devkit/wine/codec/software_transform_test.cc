#include <windows.h>

#include <codecapi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "devkit/wine/codec/codec_testing.h"
// Needs what Windows' main header declares.
#include <psapi.h>

namespace talu {
namespace {

using testing::ElementsAre;

constexpr wchar_t kControl[] = L"TALU_SOFTWARE_CODEC";
constexpr GUID kRateControlMode = {STATIC_CODECAPI_AVEncCommonRateControlMode};
constexpr GUID kBetweenPictures = {STATIC_CODECAPI_AVEncMPVDefaultBPictureCount};
constexpr GUID kMeanBitRate = {STATIC_CODECAPI_AVEncCommonMeanBitRate};
constexpr GUID kKeyFrameInterval = {STATIC_CODECAPI_AVEncMPVGOPSize};

constexpr int kSps = 7;
constexpr int kPps = 8;
constexpr int kIdr = 5;
constexpr int kSlice = 1;

class SoftwareTransformTest : public testing::Test {
 protected:
  void Open(const StreamSettings& settings = {}) {
    ComPtr<IMFTransform> transform = MakeSoftwareTransform();
    ASSERT_NE(transform, nullptr);
    ASSERT_EQ(client.Start(transform, settings), S_OK);
  }
  void TearDown() override {
    if (client.transform) {
      EXPECT_TRUE(client.Finish());
    }
  }
  // One unit for each picture, or the test fails.
  Unit EncodeOne(const Nv12Picture& picture, int index) {
    std::vector<Unit> units = client.Encode(picture, index * 33);
    EXPECT_EQ(units.size(), 1u) << "picture " << index;
    return units.empty() ? Unit() : std::move(units[0]);
  }
  Unit EncodeMoving(int index) {
    return EncodeOne(MovingPicture(client.settings.width, client.settings.height, index), index);
  }
  // Kilobits a second over `pictures` pictures of noise.
  double MeasureNoise(int pictures, int first) {
    size_t bytes = 0;
    for (int i = 0; i < pictures; ++i) {
      const Nv12Picture picture =
          NoisyPicture(client.settings.width, client.settings.height, first + i);
      bytes += EncodeOne(picture, first + i).bytes.size();
    }
    return static_cast<double>(bytes) * 8 * client.settings.fps / pictures / 1000;
  }

  Client client;
};

TEST_F(SoftwareTransformTest, GivesOneUnitForEachPictureWithItsTime) {
  Open();
  for (int i = 0; i < 40; ++i) {
    const Unit unit = EncodeMoving(i);
    EXPECT_EQ(unit.timeMs, i * 33);
    EXPECT_FALSE(unit.bytes.empty());
  }
}

TEST_F(SoftwareTransformTest, IsSynchronousAndHasFixedStreams) {
  Open();
  EXPECT_EQ(client.events, nullptr);
  EXPECT_NE(client.controls, nullptr);
  DWORD ids[2] = {};
  EXPECT_EQ(client.transform->GetStreamIDs(1, &ids[0], 1, &ids[1]), E_NOTIMPL);
  EXPECT_EQ(client.outputInfo.dwFlags & 0x300, 0u);
  EXPECT_GT(client.outputInfo.cbSize, 0u);
}

TEST_F(SoftwareTransformTest, KeyFramesBeginWithTheirParameterSets) {
  Open();
  const Unit first = EncodeMoving(0);
  EXPECT_TRUE(first.keyFrame);
  EXPECT_THAT(NalTypes(first.bytes), ElementsAre(kSps, kPps, kIdr));
  const Unit second = EncodeMoving(1);
  EXPECT_FALSE(second.keyFrame);
  EXPECT_THAT(NalTypes(second.bytes), ElementsAre(kSlice));
}

TEST_F(SoftwareTransformTest, IsOfMainProfile) {
  Open();
  const Unit unit = EncodeMoving(0);
  const std::vector<NalUnit> nals = NalUnits(unit.bytes);
  ASSERT_FALSE(nals.empty());
  size_t body = nals[0].offset;
  while (unit.bytes[body] == 0) ++body;
  EXPECT_EQ(unit.bytes[body + 2], 77);
}

TEST_F(SoftwareTransformTest, DecodesToTheColoursThatWentIn) {
  const struct {
    uint8_t luma, blue, red;
  } colours[] = {{16, 128, 128}, {235, 128, 128}, {82, 90, 240}, {145, 54, 34}, {41, 240, 110}};
  Open();
  UnitDecoder decoder;
  int index = 0;
  for (const auto& colour : colours) {
    const Nv12Picture picture(320, 240, colour.luma, colour.blue, colour.red);
    for (int i = 0; i < 5; ++i, ++index) {
      const auto decoded = decoder.Decode(EncodeOne(picture, index).bytes);
      ASSERT_TRUE(decoded);
      ASSERT_EQ(decoded->bytes.size(), picture.bytes.size());
      if (i < 4) continue;
      const size_t pixels = 320 * 240;
      for (size_t at = 0; at < picture.bytes.size(); ++at) {
        ASSERT_NEAR(decoded->bytes[at], picture.bytes[at], 3)
            << (at < pixels ? "luma " : "chroma ") << at << " of picture " << index;
      }
    }
  }
}

TEST_F(SoftwareTransformTest, DecodesToThePictureThatWentIn) {
  Open({.width = 640, .height = 360, .fps = 30, .kbps = 2000});
  UnitDecoder decoder;
  for (int i = 0; i < 30; ++i) {
    const Nv12Picture picture = MovingPicture(640, 360, i);
    const auto decoded = decoder.Decode(EncodeOne(picture, i).bytes);
    ASSERT_TRUE(decoded) << i;
    ASSERT_EQ(decoded->width, 640);
    ASSERT_EQ(decoded->height, 360);
    EXPECT_LT(LumaDifference(picture, *decoded).mean, 3) << i;
  }
}

TEST_F(SoftwareTransformTest, TakesSizesThatAreNoMultipleOfSixteen) {
  Open({.width = 330, .height = 250, .fps = 30, .kbps = 1000});
  UnitDecoder decoder;
  const auto decoded = decoder.Decode(EncodeMoving(0).bytes);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->width, 330);
  EXPECT_EQ(decoded->height, 250);
}

TEST_F(SoftwareTransformTest, ForcedKeyFrameIsTheNextUnitAndOnlyThat) {
  Open();
  for (int i = 0; i < 40; ++i) {
    const bool forced = i == 7 || i == 8 || i == 20;
    if (forced) {
      EXPECT_EQ(client.ForceKeyFrame(), S_OK);
    }
    const Unit unit = EncodeMoving(i);
    EXPECT_EQ(unit.keyFrame, forced || i == 0) << i;
    if (forced) {
      EXPECT_THAT(NalTypes(unit.bytes), ElementsAre(kSps, kPps, kIdr));
    }
  }
}

TEST_F(SoftwareTransformTest, KeyFramesComeAtTheInterval) {
  Open({.width = 320, .height = 240, .fps = 10, .kbps = 500});
  for (int i = 0; i < 61; ++i) EXPECT_EQ(EncodeMoving(i).keyFrame, i % 20 == 0) << i;
}

TEST_F(SoftwareTransformTest, KeyFrameIntervalCanBeChangedWhileRunning) {
  Open();
  for (int i = 0; i < 5; ++i) EncodeMoving(i);
  EXPECT_EQ(client.SetNumber(kKeyFrameInterval, VT_UI4, 10), S_OK);
  int last = -1;
  std::vector<int> gaps;
  for (int i = 5; i < 60; ++i) {
    if (!EncodeMoving(i).keyFrame) continue;
    if (last >= 0) gaps.push_back(i - last);
    last = i;
  }
  EXPECT_GE(gaps.size(), 3u);
  EXPECT_THAT(gaps, testing::Each(10));
}

TEST_F(SoftwareTransformTest, KeepsToTheBitRate) {
  Open({.width = 640, .height = 360, .fps = 30, .kbps = 3000});
  MeasureNoise(30, 0);
  EXPECT_NEAR(MeasureNoise(120, 30), 3000, 600);
}

TEST_F(SoftwareTransformTest, FollowsAChangeOfTheBitRate) {
  Open({.width = 640, .height = 360, .fps = 30, .kbps = 4000});
  MeasureNoise(60, 0);
  EXPECT_EQ(client.SetBitRate(1500), S_OK);
  MeasureNoise(60, 60);
  EXPECT_NEAR(MeasureNoise(120, 120), 1500, 300);
  EXPECT_EQ(client.SetBitRate(6000), S_OK);
  MeasureNoise(60, 240);
  EXPECT_NEAR(MeasureNoise(120, 300), 6000, 1200);
}

TEST_F(SoftwareTransformTest, GivesAUnitForEachPictureEvenWhenTheBitRateIsFarTooLow) {
  Open({.width = 640, .height = 360, .fps = 30, .kbps = 50});
  for (int i = 0; i < 30; ++i) EncodeOne(NoisyPicture(640, 360, i), i);
}

TEST_F(SoftwareTransformTest, TakesNoSecondPictureBeforeTheUnitIsFetched) {
  Open();
  const Nv12Picture picture = MovingPicture(320, 240, 0);
  EXPECT_EQ(client.Put(picture, 0), S_OK);
  EXPECT_EQ(client.Put(picture, 33), MF_E_NOTACCEPTING);
  DWORD flags = 0;
  EXPECT_EQ(client.transform->GetOutputStatus(&flags), S_OK);
  EXPECT_EQ(flags, static_cast<DWORD>(MFT_OUTPUT_STATUS_SAMPLE_READY));
  EXPECT_EQ(client.transform->GetInputStatus(0, &flags), S_OK);
  EXPECT_EQ(flags, 0u);
  Unit unit;
  EXPECT_EQ(client.Get(unit), S_OK);
  EXPECT_EQ(client.Get(unit), MF_E_TRANSFORM_NEED_MORE_INPUT);
  EXPECT_EQ(client.transform->GetOutputStatus(&flags), S_OK);
  EXPECT_EQ(flags, 0u);
  EXPECT_EQ(client.Put(picture, 33), S_OK);
}

TEST_F(SoftwareTransformTest, FlushDropsTheUnit) {
  Open();
  EXPECT_EQ(client.Put(MovingPicture(320, 240, 0), 0), S_OK);
  EXPECT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0), S_OK);
  Unit unit;
  EXPECT_EQ(client.Get(unit), MF_E_TRANSFORM_NEED_MORE_INPUT);
}

TEST_F(SoftwareTransformTest, StartsAnewWithAKeyFrameAfterTheEndOfStreaming) {
  Open();
  EncodeMoving(0);
  EncodeMoving(1);
  EXPECT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_END_STREAMING, 0), S_OK);
  EXPECT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0), S_OK);
  EXPECT_TRUE(EncodeMoving(2).keyFrame);
}

TEST_F(SoftwareTransformTest, WantsTheOutputTypeBeforeTheInputType) {
  client.transform = MakeSoftwareTransform();
  ASSERT_NE(client.transform, nullptr);
  const StreamSettings settings;
  EXPECT_EQ(client.transform->SetInputType(0, MakeInputType(settings).Get(), 0),
            MF_E_TRANSFORM_TYPE_NOT_SET);
  ComPtr<IMFMediaType> type;
  EXPECT_EQ(client.transform->GetInputAvailableType(0, 0, &type), MF_E_TRANSFORM_TYPE_NOT_SET);
  EXPECT_EQ(client.transform->GetOutputAvailableType(0, 0, &type), S_OK);
  EXPECT_EQ(client.transform->SetOutputType(0, MakeOutputType(settings).Get(), 0), S_OK);
  EXPECT_EQ(client.transform->GetInputAvailableType(0, 0, &type), S_OK);
  EXPECT_EQ(client.transform->GetInputAvailableType(0, 1, &type), MF_E_NO_MORE_TYPES);
  EXPECT_EQ(client.transform->SetInputType(0, MakeInputType(settings).Get(), 0), S_OK);
}

TEST_F(SoftwareTransformTest, DoesNothingBeforeItsTypesAreSet) {
  client.transform = MakeSoftwareTransform();
  ASSERT_NE(client.transform, nullptr);
  DWORD flags = 0;
  MFT_OUTPUT_STREAM_INFO info = {};
  EXPECT_EQ(client.transform->GetOutputStatus(&flags), MF_E_TRANSFORM_TYPE_NOT_SET);
  EXPECT_EQ(client.transform->GetOutputStreamInfo(0, &info), MF_E_TRANSFORM_TYPE_NOT_SET);
  EXPECT_EQ(client.Put(MovingPicture(320, 240, 0), 0), MF_E_TRANSFORM_TYPE_NOT_SET);
}

TEST_F(SoftwareTransformTest, RefusesTypesThatItCannotCode) {
  client.transform = MakeSoftwareTransform();
  ASSERT_NE(client.transform, nullptr);
  for (const StreamSettings& bad :
       {StreamSettings{.width = 321}, StreamSettings{.height = 239}, StreamSettings{.width = 16},
        StreamSettings{.width = 8192}, StreamSettings{.fps = 0}, StreamSettings{.kbps = 0}}) {
    EXPECT_EQ(client.transform->SetOutputType(0, MakeOutputType(bad).Get(), 0),
              MF_E_INVALIDMEDIATYPE)
        << bad.width << "x" << bad.height << "@" << bad.fps << " " << bad.kbps;
  }
  EXPECT_EQ(client.transform->SetOutputType(0, MakeInputType({}).Get(), 0), MF_E_INVALIDMEDIATYPE);
  EXPECT_EQ(client.transform->SetOutputType(0, MakeOutputType({}).Get(), 0), S_OK);
  for (const StreamSettings& bad : {StreamSettings{.width = 640}, StreamSettings{.fps = 25}}) {
    EXPECT_EQ(client.transform->SetInputType(0, MakeInputType(bad).Get(), 0),
              MF_E_INVALIDMEDIATYPE);
  }
}

TEST_F(SoftwareTransformTest, TestingATypeDoesNotSetIt) {
  client.transform = MakeSoftwareTransform();
  ASSERT_NE(client.transform, nullptr);
  EXPECT_EQ(client.transform->SetOutputType(0, MakeOutputType({}).Get(), MFT_SET_TYPE_TEST_ONLY),
            S_OK);
  ComPtr<IMFMediaType> type;
  EXPECT_EQ(client.transform->GetOutputCurrentType(0, &type), MF_E_TRANSFORM_TYPE_NOT_SET);
}

TEST_F(SoftwareTransformTest, RefusesBadCalls) {
  Open();
  const ComPtr<IMFSample> sample = MakeSample(MovingPicture(320, 240, 0), 0, 30);
  EXPECT_EQ(client.transform->ProcessInput(1, sample.Get(), 0), MF_E_INVALIDSTREAMNUMBER);
  EXPECT_EQ(client.transform->ProcessInput(0, nullptr, 0), E_POINTER);
  EXPECT_EQ(client.Put(MovingPicture(320, 238, 0), 0), MF_E_BUFFERTOOSMALL);
  EXPECT_EQ(client.Put(MovingPicture(320, 240, 0), 0), S_OK);
  MFT_OUTPUT_DATA_BUFFER record = {};
  DWORD status = 0;
  EXPECT_EQ(client.transform->ProcessOutput(0, 1, &record, &status), E_INVALIDARG);
  const DWORD cbSize = client.outputInfo.cbSize;
  client.outputInfo.cbSize = 4;
  Unit unit;
  EXPECT_EQ(client.Get(unit), MF_E_BUFFERTOOSMALL);
  client.outputInfo.cbSize = cbSize;
  EXPECT_EQ(client.Get(unit), S_OK);
}

TEST_F(SoftwareTransformTest, ControlsCheckTheirValues) {
  Open();
  EXPECT_EQ(client.SetNumber(kRateControlMode, VT_UI4, 3), E_INVALIDARG);
  EXPECT_EQ(client.SetNumber(kBetweenPictures, VT_UI4, 2), E_INVALIDARG);
  EXPECT_EQ(client.SetNumber(kMeanBitRate, VT_UI4, 0), E_INVALIDARG);
  EXPECT_EQ(client.SetNumber(kMeanBitRate, VT_I4, 1'000'000), E_INVALIDARG);
  EXPECT_EQ(client.controls->IsSupported(&kMeanBitRate), S_OK);
  EXPECT_EQ(client.controls->IsModifiable(&kMeanBitRate), S_OK);
  EXPECT_EQ(client.controls->IsSupported(&GUID_NULL), E_NOTIMPL);
  VARIANT value;
  EXPECT_EQ(client.controls->GetValue(&kMeanBitRate, &value), S_OK);
  EXPECT_EQ(V_VT(&value), VT_UI4);
  EXPECT_EQ(V_UI4(&value), 1'000'000u);
}

TEST_F(SoftwareTransformTest, BitRateMayBeSetWhileAnotherThreadEncodes) {
  Open();
  std::thread setter([&] {
    for (int i = 0; i < 300; ++i) EXPECT_EQ(client.SetBitRate(500 + i), S_OK);
  });
  for (int i = 0; i < 60; ++i) EncodeMoving(i);
  setter.join();
}

TEST_F(SoftwareTransformTest, ControlsAreOneObjectWithTheTransform) {
  Open();
  ComPtr<IUnknown> fromTransform;
  ComPtr<IUnknown> fromControls;
  EXPECT_EQ(client.transform.As(&fromTransform), S_OK);
  EXPECT_EQ(client.controls.As(&fromControls), S_OK);
  EXPECT_EQ(fromTransform.Get(), fromControls.Get());
  EXPECT_FALSE(client.Finish()) << "still held here";
  fromTransform.Reset();
  fromControls.Reset();
  EXPECT_TRUE(NothingHeld());
}

TEST_F(SoftwareTransformTest, KeepsNoReferenceToSamples) {
  Open();
  const ComPtr<IMFSample> sample = MakeSample(MovingPicture(320, 240, 0), 0, 30);
  EXPECT_EQ(client.transform->ProcessInput(0, sample.Get(), 0), S_OK);
  sample.Get()->AddRef();
  EXPECT_EQ(sample.Get()->Release(), 1u);
}

size_t CommittedBytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  EXPECT_TRUE(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters));
  return counters.PagefileUsage;
}

TEST(SoftwareTransformLife, FiveHundredLivesDoNotGrow) {
  const StreamSettings settings = {.width = 128, .height = 96, .fps = 30, .kbps = 300};
  size_t before = 0;
  for (int i = 0; i < 500; ++i) {
    if (i == 100) before = CommittedBytes();
    Client client;
    ComPtr<IMFTransform> transform = MakeSoftwareTransform();
    ASSERT_NE(transform, nullptr);
    ASSERT_EQ(client.Start(transform, settings), S_OK);
    transform.Reset();
    ASSERT_EQ(client.Encode(MovingPicture(128, 96, i), 0).size(), 1u);
    ASSERT_TRUE(client.Finish());
  }
  // One encoder alone is more than 200 KiB.
  EXPECT_LT(CommittedBytes(), before + 8 * 1024 * 1024);
}

TEST_F(SoftwareTransformTest, SwallowedPicturesGiveNothing) {
  ControlFile control(kControl);
  control.Write("swallows 3");
  Open();
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(client.Encode(MovingPicture(320, 240, i), i * 33).size(), i < 3 ? 0u : 1u) << i;
  }
  control.Write("swallows 1");
  EXPECT_EQ(client.Encode(MovingPicture(320, 240, 6), 198).size(), 0u);
  EXPECT_EQ(client.Encode(MovingPicture(320, 240, 7), 231).size(), 1u);
}

TEST_F(SoftwareTransformTest, ForcedKeyFrameOutlivesASwallowedPicture) {
  ControlFile control(kControl);
  control.Write("good");
  Open();
  EncodeMoving(0);
  EncodeMoving(1);
  control.Write("swallows 1");
  EXPECT_EQ(client.ForceKeyFrame(), S_OK);
  EXPECT_EQ(client.Encode(MovingPicture(320, 240, 2), 66).size(), 0u);
  EXPECT_TRUE(EncodeMoving(3).keyFrame);
}

TEST_F(SoftwareTransformTest, RefusesInputWhenTold) {
  ControlFile control(kControl);
  control.Write("good");
  Open();
  EncodeMoving(0);
  control.Write("refuses-input");
  EXPECT_EQ(client.Put(MovingPicture(320, 240, 1), 33), E_FAIL);
  control.Write("good");
  EncodeMoving(2);
}

TEST_F(SoftwareTransformTest, ChangeOfTheOutputTypeWaitsForTheNewType) {
  ControlFile control(kControl);
  control.Write("good");
  Open();
  EncodeMoving(0);
  control.Write("stream-change");
  EXPECT_EQ(client.Put(MovingPicture(320, 240, 1), 33), S_OK);
  Unit unit;
  EXPECT_EQ(client.Get(unit), MF_E_TRANSFORM_STREAM_CHANGE);
  EXPECT_EQ(client.Get(unit), MF_E_TRANSFORM_STREAM_CHANGE);
  ComPtr<IMFMediaType> type;
  EXPECT_EQ(client.transform->GetOutputAvailableType(0, 0, &type), S_OK);
  EXPECT_EQ(client.transform->SetOutputType(0, type.Get(), 0), S_OK);
  EXPECT_EQ(client.Get(unit), S_OK);
  EXPECT_FALSE(unit.keyFrame);
  EncodeMoving(2);
}

TEST(SoftwareTransformFaults, CannotBeMadeWhenInitFails) {
  ControlFile control(kControl);
  control.Write("init-fails");
  EXPECT_EQ(MakeSoftwareTransform(), nullptr);
  control.Write("good");
  EXPECT_NE(MakeSoftwareTransform(), nullptr);
  EXPECT_TRUE(NothingHeld());
}

TEST(SoftwareTransformFaults, RefusesTheOutputTypeAndHidesItsControls) {
  ControlFile control(kControl);
  control.Write("refuses-output-type\nno-codec-api");
  Client client;
  EXPECT_EQ(client.Start(MakeSoftwareTransform(), {}), MF_E_INVALIDMEDIATYPE);
  EXPECT_EQ(client.controls, nullptr);
  EXPECT_TRUE(client.Finish());
}

TEST_F(SoftwareTransformTest, ProvidesSamplesWhenTold) {
  ControlFile control(kControl);
  control.Write("provides-samples");
  Open();
  EXPECT_EQ(client.outputInfo.dwFlags & 0x300,
            static_cast<DWORD>(MFT_OUTPUT_STREAM_PROVIDES_SAMPLES));
  for (int i = 0; i < 5; ++i) EncodeMoving(i);
}

TEST_F(SoftwareTransformTest, AnUnreadableControlFileChangesNothing) {
  ControlFile control(kControl);
  control.Write("swallows 1");
  Open();
  EXPECT_EQ(client.Encode(MovingPicture(320, 240, 0), 0).size(), 0u);
  control.Write("no such setting");
  EncodeMoving(1);
}

constexpr DWORD kPictureBytes = 1280 * 720 * 3 / 2;

ComPtr<IMFMediaBuffer> MakePictureBuffer() {
  ComPtr<IMFMediaBuffer> buffer;
  EXPECT_EQ(MFCreateMemoryBuffer(kPictureBytes, &buffer), S_OK);
  return buffer;
}

BYTE* MemoryOf(const ComPtr<IMFMediaBuffer>& buffer) {
  BYTE* memory = nullptr;
  EXPECT_EQ(buffer->Lock(&memory, nullptr, nullptr), S_OK);
  EXPECT_EQ(buffer->Unlock(), S_OK);
  return memory;
}

bool IsThere(const BYTE* memory) {
  MEMORY_BASIC_INFORMATION found = {};
  VirtualQuery(memory, &found, sizeof found);
  return found.State == MEM_COMMIT;
}

TEST_F(SoftwareTransformTest, MemoryOfALargeBufferIsKeptForTheNextOne) {
  Open();
  BYTE* const first = MemoryOf(MakePictureBuffer());
  EXPECT_TRUE(IsThere(first));
  const ComPtr<IMFMediaBuffer> second = MakePictureBuffer();
  EXPECT_EQ(MemoryOf(second), first);
  EXPECT_NE(MemoryOf(MakePictureBuffer()), first);
}

TEST_F(SoftwareTransformTest, MemoryOfManyLargeBuffersIsGivenBack) {
  Open();
  std::vector<ComPtr<IMFMediaBuffer>> buffers(20);
  std::vector<BYTE*> memory;
  for (auto& buffer : buffers) {
    buffer = MakePictureBuffer();
    memory.push_back(MemoryOf(buffer));
  }
  buffers.clear();
  EXPECT_LE(std::count_if(memory.begin(), memory.end(), IsThere), 4);
}

}  // namespace
}  // namespace talu
