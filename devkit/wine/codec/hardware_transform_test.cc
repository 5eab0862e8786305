#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devkit/wine/codec/codec_testing.h"

namespace talu {
namespace {

constexpr wchar_t kControl[] = L"TALU_HARDWARE_CODEC";
// Longer than any machine needs; a test that waits for it in vain has failed.
constexpr int kLongMs = 30'000;
// Long enough for something that must not happen to have happened.
constexpr int kQuietMs = 300;

class HardwareTransformTest : public testing::Test {
 protected:
  void Open(const char* plan, const StreamSettings& settings = {}) {
    control.Write(plan);
    ComPtr<IMFTransform> transform = MakeHardwareTransform();
    ASSERT_NE(transform, nullptr);
    ASSERT_EQ(client.Start(transform, settings), S_OK);
  }
  void TearDown() override {
    if (client.transform) {
      EXPECT_TRUE(client.Finish());
    }
  }
  Nv12Picture Moving(int index) {
    return MovingPicture(client.settings.width, client.settings.height, index);
  }
  // Waits for the request, hands the picture over.
  void Feed(int index) {
    ASSERT_TRUE(client.AwaitEvent(METransformNeedInput, kLongMs)) << index;
    ASSERT_EQ(client.Put(Moving(index), index * 33), S_OK) << index;
  }
  void FeedAndFetch(int index, Unit& unit) {
    ASSERT_NO_FATAL_FAILURE(Feed(index));
    ASSERT_TRUE(client.AwaitEvent(METransformHaveOutput, kLongMs)) << index;
    ASSERT_EQ(client.Get(unit), S_OK) << index;
  }

  ControlFile control{kControl};
  Client client;
};

TEST(HardwareTransformList, NamesTwoHardwareEncoders) {
  const std::vector<ComPtr<IMFActivate>> list = ListHardware();
  EXPECT_EQ(list.size(), 2u);
}

TEST(HardwareTransformList, WithoutAControlFileNoneCanBeActivated) {
  for (const ComPtr<IMFActivate>& entry : ListHardware()) {
    ComPtr<IMFTransform> transform;
    EXPECT_TRUE(FAILED(entry->ActivateObject(IID_PPV_ARGS(&transform))));
  }
  ControlFile control(kControl);
  EXPECT_EQ(MakeHardwareTransform(), nullptr) << "a file that is named but not there";
  control.Write("absent");
  EXPECT_EQ(MakeHardwareTransform(), nullptr);
}

TEST(HardwareTransformList, WhenActivationFailsTheNextOneWorks) {
  ControlFile control(kControl);
  control.Write("activation-fails");
  const std::vector<ComPtr<IMFActivate>> list = ListHardware();
  ASSERT_EQ(list.size(), 2u);
  ComPtr<IMFTransform> transform;
  EXPECT_TRUE(FAILED(list[0]->ActivateObject(IID_PPV_ARGS(&transform))));
  EXPECT_EQ(list[1]->ActivateObject(IID_PPV_ARGS(&transform)), S_OK);
}

TEST_F(HardwareTransformTest, IsLockedUntilItIsUnlocked) {
  control.Write("good");
  client.transform = MakeHardwareTransform();
  ASSERT_NE(client.transform, nullptr);
  const ComPtr<IMFMediaType> type = MakeOutputType({});
  EXPECT_EQ(client.transform->SetOutputType(0, type.Get(), 0), MF_E_TRANSFORM_ASYNC_LOCKED);
  EXPECT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0),
            MF_E_TRANSFORM_ASYNC_LOCKED);
  EXPECT_EQ(client.Put(Moving(0), 0), MF_E_TRANSFORM_ASYNC_LOCKED);
  ComPtr<IMFAttributes> attributes;
  ASSERT_EQ(client.transform->GetAttributes(&attributes), S_OK);
  EXPECT_EQ(MFGetAttributeUINT32(attributes.Get(), MF_TRANSFORM_ASYNC, 0), 1u);
  EXPECT_EQ(attributes->SetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, 1), S_OK);
  EXPECT_EQ(client.transform->SetOutputType(0, type.Get(), 0), S_OK);
}

TEST_F(HardwareTransformTest, TakesADirect3DManager) {
  Open("good");
  UINT token = 0;
  ComPtr<IMFDXGIDeviceManager> manager;
  ASSERT_EQ(MFCreateDXGIDeviceManager(&token, &manager), S_OK);
  EXPECT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_SET_D3D_MANAGER,
                                             reinterpret_cast<ULONG_PTR>(manager.Get())),
            S_OK);
  Unit unit;
  FeedAndFetch(0, unit);
  EXPECT_TRUE(client.Finish());
  manager.Get()->AddRef();
  EXPECT_EQ(manager.Get()->Release(), 1u);
}

TEST_F(HardwareTransformTest, AsksOnlyOnceTheStreamHasStarted) {
  control.Write("good");
  client.transform = MakeHardwareTransform();
  ASSERT_NE(client.transform, nullptr);
  ComPtr<IMFAttributes> attributes;
  ASSERT_EQ(client.transform->GetAttributes(&attributes), S_OK);
  ASSERT_EQ(attributes->SetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, 1), S_OK);
  ASSERT_EQ(client.transform.As(&client.events), S_OK);
  ASSERT_EQ(client.transform->SetOutputType(0, MakeOutputType({}).Get(), 0), S_OK);
  ASSERT_EQ(client.transform->SetInputType(0, MakeInputType({}).Get(), 0), S_OK);
  ASSERT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0), S_OK);
  EXPECT_FALSE(client.NextEvent(kQuietMs));
  EXPECT_EQ(client.Put(Moving(0), 0), MF_E_NOTACCEPTING);
  ASSERT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_START_OF_STREAM, 0), S_OK);
  EXPECT_EQ(client.NextEvent(kLongMs), METransformNeedInput);
}

TEST_F(HardwareTransformTest, GivesEachPictureBack) {
  Open("good");
  UnitDecoder decoder;
  for (int i = 0; i < 70; ++i) {
    Unit unit;
    ASSERT_NO_FATAL_FAILURE(FeedAndFetch(i, unit));
    EXPECT_EQ(unit.timeMs, i * 33);
    EXPECT_EQ(unit.keyFrame, i % 60 == 0);
    const auto decoded = decoder.Decode(unit.bytes);
    ASSERT_TRUE(decoded);
    EXPECT_LT(LumaDifference(Moving(i), *decoded).mean, 3) << i;
  }
}

TEST_F(HardwareTransformTest, ForcedKeyFrameIsTheNextUnit) {
  Open("good");
  for (int i = 0; i < 10; ++i) {
    if (i == 5) {
      EXPECT_EQ(client.ForceKeyFrame(), S_OK);
    }
    Unit unit;
    ASSERT_NO_FATAL_FAILURE(FeedAndFetch(i, unit));
    EXPECT_EQ(unit.keyFrame, i == 0 || i == 5);
  }
}

TEST_F(HardwareTransformTest, TakesNoPictureThatItDidNotAskFor) {
  Open("never-asks");
  EXPECT_EQ(client.Put(Moving(0), 0), MF_E_NOTACCEPTING);
  Unit unit;
  EXPECT_EQ(client.Get(unit), E_UNEXPECTED);
}

TEST_F(HardwareTransformTest, AsksAgainWhenARequestIsReadAndNotAnswered) {
  Open("good");
  EXPECT_TRUE(client.AwaitEvent(METransformNeedInput, kLongMs));
  EXPECT_TRUE(client.AwaitEvent(METransformNeedInput, kLongMs));
  EXPECT_EQ(client.Put(Moving(0), 0), S_OK);
}

TEST_F(HardwareTransformTest, DrainGivesTheRestAndThenSaysSo) {
  Open("good");
  Feed(0);
  EXPECT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_COMMAND_DRAIN, 0), S_OK);
  EXPECT_EQ(client.NextEvent(kLongMs), METransformHaveOutput);
  EXPECT_EQ(client.NextEvent(kLongMs), METransformDrainComplete);
  Unit unit;
  EXPECT_EQ(client.Get(unit), S_OK);
}

TEST_F(HardwareTransformTest, FlushDropsEverythingAndAsksAgainAfterANewStart) {
  Open("good");
  Feed(0);
  EXPECT_TRUE(client.AwaitEvent(METransformHaveOutput, kLongMs));
  EXPECT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0), S_OK);
  Unit unit;
  EXPECT_EQ(client.Get(unit), E_UNEXPECTED);
  while (client.NextEvent(0)) {
  }
  EXPECT_EQ(client.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_START_OF_STREAM, 0), S_OK);
  ASSERT_NO_FATAL_FAILURE(FeedAndFetch(1, unit));
}

TEST_F(HardwareTransformTest, EventsEndWithShutdown) {
  Open("good");
  ComPtr<IMFShutdown> shutdown;
  ASSERT_EQ(client.transform.As(&shutdown), S_OK);
  EXPECT_EQ(shutdown->Shutdown(), S_OK);
  ComPtr<IMFMediaEvent> event;
  EXPECT_EQ(client.events->GetEvent(MF_EVENT_FLAG_NO_WAIT, &event), MF_E_SHUTDOWN);
  EXPECT_EQ(client.Put(Moving(0), 0), MF_E_SHUTDOWN);
}

TEST_F(HardwareTransformTest, NeverAsks) {
  Open("never-asks");
  EXPECT_FALSE(client.NextEvent(kQuietMs));
  control.Write("good");
  Unit unit;
  FeedAndFetch(0, unit);
}

TEST_F(HardwareTransformTest, AsksLate) {
  const ULONGLONG begin = GetTickCount64();
  Open("asks-late 200");
  EXPECT_TRUE(client.AwaitEvent(METransformNeedInput, kLongMs));
  EXPECT_GE(GetTickCount64() - begin, 195u);
}

TEST_F(HardwareTransformTest, StopsAfterSomePictures) {
  Open("stops-after 3");
  for (int i = 0; i < 3; ++i) {
    Unit unit;
    ASSERT_NO_FATAL_FAILURE(FeedAndFetch(i, unit));
  }
  EXPECT_FALSE(client.NextEvent(kQuietMs));
  control.Write("good");
  Unit unit;
  FeedAndFetch(3, unit);
}

TEST_F(HardwareTransformTest, RefusesTheInputThatItAskedFor) {
  Open("refuses-input");
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(client.AwaitEvent(METransformNeedInput, kLongMs));
    EXPECT_EQ(client.Put(Moving(i), i * 33), E_FAIL);
  }
  control.Write("good");
  Unit unit;
  FeedAndFetch(3, unit);
}

TEST_F(HardwareTransformTest, GivesNoOutput) {
  Open("no-output");
  for (int i = 0; i < 5; ++i) ASSERT_NO_FATAL_FAILURE(Feed(i));
  EXPECT_FALSE(client.AwaitEvent(METransformHaveOutput, kQuietMs));
}

TEST_F(HardwareTransformTest, SwallowsSomePictures) {
  Open("swallows 2");
  ASSERT_NO_FATAL_FAILURE(Feed(0));
  ASSERT_NO_FATAL_FAILURE(Feed(1));
  Unit unit;
  ASSERT_NO_FATAL_FAILURE(FeedAndFetch(2, unit));
  EXPECT_EQ(unit.timeMs, 66);
  EXPECT_TRUE(unit.keyFrame);
}

TEST_F(HardwareTransformTest, RefusesTheOutputType) {
  control.Write("refuses-output-type");
  EXPECT_EQ(client.Start(MakeHardwareTransform(), {}), MF_E_INVALIDMEDIATYPE);
}

TEST_F(HardwareTransformTest, HidesItsControls) {
  Open("no-codec-api");
  EXPECT_EQ(client.controls, nullptr);
  Unit unit;
  FeedAndFetch(0, unit);
}

TEST_F(HardwareTransformTest, ProvidesSamples) {
  Open("provides-samples");
  EXPECT_EQ(client.outputInfo.dwFlags & 0x300,
            static_cast<DWORD>(MFT_OUTPUT_STREAM_PROVIDES_SAMPLES));
  for (int i = 0; i < 5; ++i) {
    Unit unit;
    ASSERT_NO_FATAL_FAILURE(FeedAndFetch(i, unit));
    EXPECT_FALSE(unit.bytes.empty());
  }
}

TEST_F(HardwareTransformTest, PromptOneHasTheUnitReadyWhenItHasTakenThePicture) {
  Open("prompt");
  // Under load the wait for the unit may end early: most pictures will do.
  int ready = 0;
  for (int i = 0; i < 10; ++i) {
    ASSERT_NO_FATAL_FAILURE(Feed(i));
    DWORD flags = 0;
    EXPECT_EQ(client.transform->GetOutputStatus(&flags), S_OK);
    if (flags & MFT_OUTPUT_STATUS_SAMPLE_READY) ++ready;
    Unit unit;
    ASSERT_TRUE(client.AwaitEvent(METransformHaveOutput, kLongMs));
    ASSERT_EQ(client.Get(unit), S_OK);
  }
  EXPECT_GE(ready, 1);
}

TEST_F(HardwareTransformTest, ChangeOfTheOutputTypeIsAnnouncedAndAnsweredOnce) {
  Open("good");
  Unit unit;
  ASSERT_NO_FATAL_FAILURE(FeedAndFetch(0, unit));
  control.Write("stream-change");
  ASSERT_NO_FATAL_FAILURE(Feed(1));
  ASSERT_TRUE(client.AwaitEvent(METransformHaveOutput, kLongMs));
  EXPECT_EQ(client.Get(unit), MF_E_TRANSFORM_STREAM_CHANGE);
  ComPtr<IMFMediaType> type;
  ASSERT_EQ(client.transform->GetOutputAvailableType(0, 0, &type), S_OK);
  ASSERT_EQ(client.transform->SetOutputType(0, type.Get(), 0), S_OK);
  ASSERT_TRUE(client.AwaitEvent(METransformHaveOutput, kLongMs));
  EXPECT_EQ(client.Get(unit), S_OK);
  EXPECT_EQ(unit.timeMs, 33);
}

TEST_F(HardwareTransformTest, LivesOnForItsEventReaderWhenTheTransformIsLetGo) {
  Open("good");
  Feed(0);
  client.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_END_OF_STREAM, 0);
  client.transform->ProcessMessage(MFT_MESSAGE_NOTIFY_END_STREAMING, 0);
  client.transform.Reset();
  EXPECT_EQ(client.SetBitRate(500), S_OK);
  client.controls.Reset();
  client.events.Reset();
  EXPECT_TRUE(NothingHeld());
}

TEST_F(HardwareTransformTest, CanBeLetGoInTheMiddleOfAPicture) {
  for (int i = 0; i < 30; ++i) {
    ASSERT_NO_FATAL_FAILURE(Open("good"));
    ASSERT_NO_FATAL_FAILURE(Feed(0));
    ASSERT_TRUE(client.Finish());
  }
}

}  // namespace
}  // namespace talu
