// The boundary, from outside: run against the library linked in and against the DLL.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "devkit/controller/stream_client.h"
#include "devkit/loopback/error_codes.h"
#include "devkit/loopback/library_under_test.h"
#include "devkit/loopback/test_kit.h"
#include "devkit/loopback/wire.h"

namespace talu::loopback {
namespace {

using controller::ReceivedMessage;
using controller::ReceiveResult;
using controller::StreamClient;
using testing::HasSubstr;
using testing::StartsWith;

// A host that writes down what it is told. One at a time.
struct RecordingHost {
  EventLog events;
  std::function<void()> onDisconnected;
  std::function<void()> onMessage;
};

RecordingHost* HostOf(void* user) { return static_cast<RecordingHost*>(user); }

std::string RequestText(const SdkStreamRequest* request) {
  // By the bytes, not by the record's names.
  int32_t fields[5];
  static_assert(sizeof fields == sizeof *request);
  std::memcpy(fields, request, sizeof fields);
  std::string text;
  for (const int32_t field : fields) text += " " + std::to_string(field);
  return text;
}

void OnError(SdkSessionHandle, int32_t code, const char* text, void* user) {
  HostOf(user)->events.Add("error " + std::to_string(code) + " " + text);
}

void OnLog(SdkSessionHandle, const char* text, void* user) {
  HostOf(user)->events.Add(std::string("log ") + text);
}

void OnConnected(SdkSessionHandle, const void*, const void*, const SdkStreamRequest* request,
                 void* user) {
  HostOf(user)->events.Add("connected" + RequestText(request));
}

void OnDisconnected(SdkSessionHandle, const void*, const void*, void* user) {
  RecordingHost* host = HostOf(user);
  if (host->onDisconnected) host->onDisconnected();
  host->events.Add("disconnected");
}

void OnKeyframe(SdkSessionHandle, const void*, const void*, void* user) {
  HostOf(user)->events.Add("keyframe");
}

void OnProfile(SdkSessionHandle, const void*, const void*, const SdkStreamRequest* request,
               void* user) {
  HostOf(user)->events.Add("profile" + RequestText(request));
}

void OnScreenInfo(SdkSessionHandle, void* user) { HostOf(user)->events.Add("screen info"); }

void OnMessage(SdkSessionHandle, const SdkCustomMessage* message, void* user) {
  const char* label;
  const char* payload;
  uint32_t length;
  uint32_t reserved;
  const auto* bytes = reinterpret_cast<const uint8_t*>(message);
  std::memcpy(&label, bytes, sizeof label);
  std::memcpy(&payload, bytes + 8, sizeof payload);
  std::memcpy(&length, bytes + 16, sizeof length);
  std::memcpy(&reserved, bytes + 20, sizeof reserved);
  RecordingHost* host = HostOf(user);
  if (host->onMessage) host->onMessage();
  host->events.Add(std::string(label) + ": " + std::string(payload, length) + " " +
                   std::to_string(reserved));
}

std::atomic<int> emptyCalls{0};
void Empty() { ++emptyCalls; }

template <typename Value>
void Put(uint8_t* record, size_t offset, Value value) {
  std::memcpy(record + offset, &value, sizeof value);
}

// The records as bytes, laid out here once more, so that a shift in the headers shows.
struct ConfigBytes {
  explicit ConfigBytes(RecordingHost* host) {
    for (size_t offset = 8; offset <= 144; offset += 8) Put(bytes, offset, &Empty);
    Put(bytes, 0, int32_t{77});
    Put(bytes, 8, &OnError);
    Put(bytes, 32, &OnConnected);
    Put(bytes, 40, &OnDisconnected);
    Put(bytes, 104, &OnMessage);
    Put(bytes, 120, &OnKeyframe);
    Put(bytes, 128, &OnProfile);
    Put(bytes, 144, &OnScreenInfo);
    Put(bytes, 152, uint32_t{1});
    Put(bytes, 160, &OnLog);
    Put(bytes, 168, static_cast<void*>(host));
  }
  const SdkGlobalConfig* Record() const { return reinterpret_cast<const SdkGlobalConfig*>(bytes); }
  alignas(8) uint8_t bytes[176] = {};
};

struct ParamsBytes {
  ParamsBytes() {
    Put(bytes, 0, "desk");
    Put(bytes, 8, "secret");
    Put(bytes, 16, "access");
    Put(bytes, 24, int64_t{1'900'000'000'000});
    Put(bytes, 32, uint32_t{1280});
    Put(bytes, 36, uint32_t{720});
    Put(bytes, 40, uint32_t{1});
  }
  const SdkSessionParams* Record() const {
    return reinterpret_cast<const SdkSessionParams*>(bytes);
  }
  alignas(8) uint8_t bytes[48] = {};
};

struct FrameBytes {
  explicit FrameBytes(bool keyFrame) {
    Put(bytes, 0, uint32_t{1});
    Put(bytes, 8, uint32_t{keyFrame ? 0u : 1u});
    Put(bytes, 16, static_cast<const char*>("\0\0\0\1unit"));
    Put(bytes, 24, uint32_t{8});
    Put(bytes, 32, int64_t{0x0102030405060708});
  }
  const SdkVideoFrame* Record() const { return reinterpret_cast<const SdkVideoFrame*>(bytes); }
  alignas(8) uint8_t bytes[40] = {};
};

struct MessageBytes {
  explicit MessageBytes(const char* text) {
    Put(bytes, 0, "desktop_input");
    Put(bytes, 8, text);
    Put(bytes, 16, static_cast<uint32_t>(std::strlen(text)));
  }
  const SdkCustomMessage* Record() const {
    return reinterpret_cast<const SdkCustomMessage*>(bytes);
  }
  alignas(8) uint8_t bytes[24] = {};
};

struct ScreenBytes {
  ScreenBytes(uint32_t width, uint32_t height) {
    Put(bytes, 0, width);
    Put(bytes, 4, height);
    Put(bytes, 8, uint32_t{1});
  }
  const SdkScreenInfo* Record() const { return reinterpret_cast<const SdkScreenInfo*>(bytes); }
  alignas(8) uint8_t bytes[16] = {};
};

class Boundary : public testing::Test {
 protected:
  Boundary() : sdk(LibraryUnderTest()) {
    folder = std::filesystem::temp_directory_path() /
             ("loopback_" + std::to_string(reinterpret_cast<uintptr_t>(this)) + "_" +
              testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder);
    SetVariable("TCAR_LOOPBACK_PORT", "");
    SetVariable("TCAR_LOOPBACK_TOKEN", "");
    SetVariable("TCAR_LOOPBACK_URL_FILE", "");
    SetVariable("TCAR_LOOPBACK_FAULTS", "");
    SetVariable("TCAR_LOOPBACK_VIEWER_DIR", folder.string().c_str());
    emptyCalls = 0;
  }

  ~Boundary() override {
    if (sdk.global_cleanup != nullptr) sdk.global_cleanup();
    std::filesystem::remove_all(folder);
  }

  void SetUp() override { ASSERT_NE(sdk.str_err, nullptr) << "the library could not be loaded"; }

  void StartSession() {
    ASSERT_EQ(sdk.global_init(ConfigBytes(&host).Record()), kOk);
    ASSERT_EQ(sdk.session_create(ParamsBytes().Record(), &session), kOk);
    ASSERT_NE(session, nullptr);
    const std::optional<std::string> line = host.events.WaitForBeginning("log viewer at ");
    ASSERT_TRUE(line);
    address = line->substr(std::strlen("log viewer at "));
  }

  std::unique_ptr<StreamClient> Join(const controller::StreamWishes& wishes = {}) {
    const auto stream = controller::ParseStreamAddress(address);
    EXPECT_TRUE(stream) << address;
    auto client = std::make_unique<StreamClient>();
    std::string complaint;
    EXPECT_TRUE(
        client->Connect(controller::MakeHandshake(*stream, wishes), kTestTimeoutMs, &complaint))
        << complaint;
    EXPECT_THAT(Next(client.get()), StartsWith("{\"event\":\"hello\",\"instance\":\"desk\""));
    return client;
  }

  static std::string Next(StreamClient* client) {
    ReceivedMessage message;
    if (client->Receive(&message, kTestTimeoutMs) != ReceiveResult::kMessage) return "(nothing)";
    return {message.bytes.begin(), message.bytes.end()};
  }

  void WriteFaults(const std::string& text) {
    std::ofstream(folder / "faults", std::ios::binary) << text;
  }

  const StreamSdk sdk;
  RecordingHost host;
  std::filesystem::path folder;
  SdkSessionHandle session = nullptr;
  std::string address;
};

TEST_F(Boundary, CarriesEveryRecordByteForByte) {
  StartSession();
  const auto client = Join({30, 3000, 500, false});
  EXPECT_TRUE(host.events.WaitFor("connected 0 0 30 3000 500"));
  EXPECT_EQ(sdk.send_video_frame(session, FrameBytes(true).Record()), kOk);
  const std::string video = Next(client.get());
  ASSERT_EQ(video.size(), kVideoHeaderBytes + 8);
  EXPECT_EQ(video.substr(0, 16),
            std::string("\1\1\0\0\0\0\0\0\x08\x07\x06\x05\x04\x03\x02\x01", 16));
  EXPECT_EQ(video.substr(24), std::string("\0\0\0\1unit", 8));
  EXPECT_EQ(sdk.send_video_frame(session, FrameBytes(false).Record()), kOk);
  EXPECT_EQ(Next(client.get()).substr(0, 8), std::string("\1\0\0\0\1\0\0\0", 8));
  EXPECT_EQ(sdk.send_custom_message(session, MessageBytes("{\"a\":1}").Record()), kOk);
  EXPECT_EQ(Next(client.get()), std::string("\2\0\0\0{\"a\":1}", 11));
  EXPECT_EQ(sdk.set_screen_info(session, ScreenBytes(800, 600).Record()), kOk);
  EXPECT_EQ(Next(client.get()), "{\"event\":\"screen\",\"width\":800,\"height\":600}");
  EXPECT_TRUE(client->SendBinary(BuildViewerControlMessage("from the viewer"), kTestTimeoutMs));
  EXPECT_TRUE(host.events.WaitFor("desktop_input: from the viewer 0"));
  EXPECT_TRUE(client->SendText("{\"command\":\"profile\",\"fps\":60}", kTestTimeoutMs));
  EXPECT_TRUE(host.events.WaitFor("profile 0 0 60 0 0"));
  EXPECT_TRUE(client->SendText("{\"command\":\"keyframe\"}", kTestTimeoutMs));
  EXPECT_TRUE(host.events.WaitFor("keyframe"));
  EXPECT_TRUE(client->SendText("{\"command\":\"screen_info\"}", kTestTimeoutMs));
  EXPECT_TRUE(host.events.WaitFor("screen info"));
  client->Close(kTestTimeoutMs);
  EXPECT_TRUE(host.events.WaitFor("disconnected"));
  EXPECT_TRUE(host.events.WaitFor("log SetScreenInfo 800x600"));
  EXPECT_EQ(host.events.CountOfBeginning("error"), 0u);
}

TEST_F(Boundary, CallsEverySlotWithoutNewsOnce) {
  StartSession();
  sdk.session_destroy(session);
  sdk.global_cleanup();
  EXPECT_EQ(emptyCalls, 11);
}

TEST_F(Boundary, RefusesAConfigurationWithAWrongField) {
  for (const size_t slot : {16, 24, 48, 96, 112, 136}) {
    ConfigBytes config(&host);
    Put(config.bytes, slot, uint64_t{0});
    EXPECT_EQ(sdk.global_init(config.Record()), kBadRecord) << slot;
  }
  for (const size_t reserved : {4, 156}) {
    ConfigBytes config(&host);
    Put(config.bytes, reserved, uint32_t{1});
    EXPECT_EQ(sdk.global_init(config.Record()), kBadRecord) << reserved;
  }
  ConfigBytes config(&host);
  Put(config.bytes, 152, uint32_t{2});
  EXPECT_EQ(sdk.global_init(config.Record()), kBadRecord);
  EXPECT_TRUE(host.events.WaitFor("error 1 SdkGlobalConfig: the flag at 152 is not 1"));
  EXPECT_EQ(host.events.CountOfBeginning("error 1"), 9u);
  EXPECT_EQ(sdk.global_init(nullptr), kBadRecord);
}

TEST_F(Boundary, RefusesASessionWithAWrongField) {
  ASSERT_EQ(sdk.global_init(ConfigBytes(&host).Record()), kOk);
  for (const size_t offset : {32, 36, 40}) {
    ParamsBytes params;
    Put(params.bytes, offset, uint32_t{0});
    EXPECT_EQ(sdk.session_create(params.Record(), &session), kBadRecord) << offset;
  }
  ParamsBytes params;
  Put(params.bytes, 44, uint32_t{1});
  EXPECT_EQ(sdk.session_create(params.Record(), &session), kBadRecord);
  EXPECT_EQ(sdk.session_create(ParamsBytes().Record(), nullptr), kBadRecord);
  EXPECT_EQ(session, nullptr);
  EXPECT_TRUE(host.events.WaitFor("error 1 tcar_session_create: no place for the handle"));
  EXPECT_EQ(host.events.CountOfBeginning("error 1 SdkSessionParams"), 4u);
}

TEST_F(Boundary, ReportsEveryWrongFieldOfAVideoFrame) {
  StartSession();
  for (const size_t offset : {4, 12, 28}) {
    FrameBytes frame(true);
    Put(frame.bytes, offset, uint32_t{1});
    EXPECT_EQ(sdk.send_video_frame(session, frame.Record()), kBadRecord) << offset;
  }
  FrameBytes codec(true);
  Put(codec.bytes, 0, uint32_t{2});
  EXPECT_EQ(sdk.send_video_frame(session, codec.Record()), kBadRecord);
  FrameBytes type(true);
  Put(type.bytes, 8, uint32_t{2});
  EXPECT_EQ(sdk.send_video_frame(session, type.Record()), kBadRecord);
  FrameBytes empty(true);
  Put(empty.bytes, 24, uint32_t{0});
  EXPECT_EQ(sdk.send_video_frame(session, empty.Record()), kBadRecord);
  EXPECT_TRUE(host.events.WaitFor("error 1 SdkVideoFrame: no bytes"));
  EXPECT_TRUE(host.events.WaitFor("error 1 SdkVideoFrame: the codec is not 1"));
  EXPECT_EQ(host.events.CountOfBeginning("error 1 SdkVideoFrame"), 6u);
}

TEST_F(Boundary, ReportsEveryWrongFieldOfTheSmallRecords) {
  StartSession();
  ScreenBytes flag(800, 600);
  Put(flag.bytes, 8, uint32_t{0});
  EXPECT_EQ(sdk.set_screen_info(session, flag.Record()), kBadRecord);
  ScreenBytes reserved(800, 600);
  Put(reserved.bytes, 12, uint32_t{1});
  EXPECT_EQ(sdk.set_screen_info(session, reserved.Record()), kBadRecord);
  MessageBytes message("x");
  Put(message.bytes, 20, uint32_t{1});
  EXPECT_EQ(sdk.send_custom_message(session, message.Record()), kBadRecord);
  MessageBytes label("x");
  Put(label.bytes, 0, "input");
  EXPECT_EQ(sdk.send_custom_message(session, label.Record()), kBadRecord);
  EXPECT_TRUE(host.events.WaitFor("error 1 SdkCustomMessage: the label is not desktop_input"));
  EXPECT_EQ(host.events.CountOfBeginning("error 1"), 4u);
}

TEST_F(Boundary, SaysWhatACodeMeans) {
  EXPECT_STREQ(sdk.str_err(0), "success");
  EXPECT_STREQ(sdk.str_err(kNoViewer), "no viewer is connected");
  EXPECT_STREQ(sdk.str_err(-12345), "unknown error");
}

TEST_F(Boundary, KeepsToTheOrderOfCalls) {
  EXPECT_EQ(sdk.session_create(ParamsBytes().Record(), &session), kNotInitialised);
  EXPECT_EQ(sdk.send_video_frame(nullptr, FrameBytes(true).Record()), kNotInitialised);
  sdk.global_cleanup();
  StartSession();
  EXPECT_EQ(sdk.global_init(ConfigBytes(&host).Record()), kAlreadyInitialised);
  SdkSessionHandle second = nullptr;
  EXPECT_EQ(sdk.session_create(ParamsBytes().Record(), &second), kSessionExists);
  EXPECT_EQ(second, nullptr);
  sdk.session_destroy(session);
  EXPECT_EQ(sdk.send_video_frame(session, FrameBytes(true).Record()), kUnknownSession);
  sdk.session_destroy(session);
  EXPECT_TRUE(host.events.WaitFor("error 4 tcar_session_destroy: no such session"));
}

TEST_F(Boundary, ASessionCanFollowASession) {
  for (int i = 0; i < 3; ++i) {
    host.events.Add("round");
    ASSERT_EQ(sdk.global_init(ConfigBytes(&host).Record()), kOk);
    ASSERT_EQ(sdk.session_create(ParamsBytes().Record(), &session), kOk);
    sdk.session_destroy(session);
    sdk.global_cleanup();
  }
  StartSession();
}

TEST_F(Boundary, WithoutAViewerVideoIsDroppedAndAMessageSaysSo) {
  StartSession();
  EXPECT_EQ(sdk.send_video_frame(session, FrameBytes(true).Record()), kOk);
  EXPECT_EQ(sdk.send_custom_message(session, MessageBytes("x").Record()), kNoViewer);
  EXPECT_EQ(sdk.set_screen_info(session, ScreenBytes(800, 600).Record()), kOk);
}

TEST_F(Boundary, WritesTheViewersAddressAndTakesItAwayAgain) {
  const std::filesystem::path file = folder / "address";
  SetVariable("TCAR_LOOPBACK_URL_FILE", file.string().c_str());
  SetVariable("TCAR_LOOPBACK_TOKEN", "fixed-token");
  StartSession();
  std::ifstream stream(file, std::ios::binary);
  const std::string content(std::istreambuf_iterator<char>(stream), {});
  stream.close();
  EXPECT_EQ(content, address + "\n");
  EXPECT_THAT(address, HasSubstr("/?token=fixed-token"));
  sdk.session_destroy(session);
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Boundary, RefusesVariablesThatItCannotUse) {
  SetVariable("TCAR_LOOPBACK_PORT", "65536");
  EXPECT_EQ(sdk.global_init(ConfigBytes(&host).Record()), kBadConfiguration);
  EXPECT_TRUE(host.events.WaitFor("error 9 TCAR_LOOPBACK_PORT is not a port number"));
  SetVariable("TCAR_LOOPBACK_PORT", "");
  SetVariable("TCAR_LOOPBACK_TOKEN", "a b");
  EXPECT_EQ(sdk.global_init(ConfigBytes(&host).Record()), kBadConfiguration);
  SetVariable("TCAR_LOOPBACK_TOKEN", "");
  SetVariable("TCAR_LOOPBACK_URL_FILE", (folder / "none" / "address").string().c_str());
  ASSERT_EQ(sdk.global_init(ConfigBytes(&host).Record()), kOk);
  EXPECT_EQ(sdk.session_create(ParamsBytes().Record(), &session), kCannotServe);
  EXPECT_EQ(session, nullptr);
  EXPECT_TRUE(host.events.WaitFor("error 6 TCAR_LOOPBACK_URL_FILE cannot be written"));
}

TEST_F(Boundary, EveryRunHasATokenOfItsOwn) {
  StartSession();
  const std::string first = address;
  sdk.global_cleanup();
  RecordingHost second;
  ASSERT_EQ(sdk.global_init(ConfigBytes(&second).Record()), kOk);
  ASSERT_EQ(sdk.session_create(ParamsBytes().Record(), &session), kOk);
  const std::string line = *second.events.WaitForBeginning("log viewer at ");
  sdk.global_cleanup();
  EXPECT_NE(line.substr(line.find("token=")), first.substr(first.find("token=")));
  EXPECT_EQ(line.substr(line.find("token=") + 6).size(), 32u);
}

TEST_F(Boundary, FailsAsTheFaultFileSays) {
  SetVariable("TCAR_LOOPBACK_FAULTS", (folder / "faults").string().c_str());
  WriteFaults("init-fails 41\n");
  EXPECT_EQ(sdk.global_init(ConfigBytes(&host).Record()), 41);
  WriteFaults("create-fails 42\n");
  ASSERT_EQ(sdk.global_init(ConfigBytes(&host).Record()), kOk);
  EXPECT_EQ(sdk.session_create(ParamsBytes().Record(), &session), 42);
  WriteFaults("# nothing but later faults\nsend-fails 2 43\nmessage-fails 1 44\n");
  ASSERT_EQ(sdk.session_create(ParamsBytes().Record(), &session), kOk);
  EXPECT_EQ(sdk.send_video_frame(session, FrameBytes(true).Record()), 43);
  EXPECT_EQ(sdk.send_video_frame(session, FrameBytes(true).Record()), 43);
  EXPECT_EQ(sdk.send_video_frame(session, FrameBytes(true).Record()), kOk);
  EXPECT_EQ(sdk.send_custom_message(session, MessageBytes("x").Record()), 44);
  WriteFaults("screen-fails 1 45\nnonsense\n");
  EXPECT_EQ(sdk.set_screen_info(session, ScreenBytes(8, 8).Record()), kOk);
  EXPECT_TRUE(host.events.WaitFor("error 9 fault file: cannot understand 'nonsense'"));
}

TEST_F(Boundary, TheHostMayJoinItsSendingThreadWhenTheViewerGoes) {
  StartSession();
  std::atomic<bool> streaming{true};
  std::thread stream([&] {
    while (streaming) {
      EXPECT_EQ(sdk.send_video_frame(session, FrameBytes(true).Record()), kOk);
      EXPECT_THAT(sdk.send_custom_message(session, MessageBytes("x").Record()),
                  testing::AnyOf(kOk, kNoViewer, kViewerTooSlow));
    }
  });
  host.onDisconnected = [&] {
    streaming = false;
    stream.join();
  };
  {
    const auto client = Join();
    EXPECT_NE(Next(client.get()), "(nothing)");
  }
  EXPECT_TRUE(host.events.WaitFor("disconnected"));
}

TEST_F(Boundary, TheHostMaySendInACallbackWhileTheSessionEnds) {
  StartSession();
  EventLog signals;
  host.onMessage = [&] {
    signals.Add("in callback");
    signals.WaitFor("go on");
    for (int i = 0; i < 100; ++i) {
      // Whether it still counts is open; that it comes back is not.
      sdk.send_custom_message(session, MessageBytes("answer").Record());
      sdk.set_screen_info(session, ScreenBytes(8, 8).Record());
      // Ignored here: it would wait for itself.
      sdk.session_destroy(session);
      sdk.global_cleanup();
    }
  };
  const auto client = Join();
  EXPECT_TRUE(client->SendBinary(BuildViewerControlMessage("ask"), kTestTimeoutMs));
  EXPECT_TRUE(signals.WaitFor("in callback"));
  std::thread end([&] {
    sdk.session_destroy(session);
    sdk.global_cleanup();
    host.events.Add("ended");
  });
  signals.Add("go on");
  end.join();
  EXPECT_EQ(host.events.All().back(), "ended") << "a callback came after the end";
}

TEST_F(Boundary, AfterTheEndNoCallbackComes) {
  StartSession();
  std::vector<std::unique_ptr<StreamClient>> clients;
  for (int i = 0; i < 20; ++i) {
    clients.push_back(Join());
    clients.back()->SendBinary(BuildViewerControlMessage("x"), kTestTimeoutMs);
  }
  sdk.session_destroy(session);
  sdk.global_cleanup();
  const size_t events = host.events.All().size();
  clients.clear();
  EXPECT_EQ(host.events.All().size(), events);
}

TEST_F(Boundary, CallbacksOfTwoKindsComeAtOnce) {
  StartSession();
  // The message's callback does not return before the subscription's has come.
  host.onMessage = [&] { EXPECT_TRUE(host.events.WaitFor("connected 0 0 5 0 0")); };
  const auto controller = Join({0, 0, 0, true});
  EXPECT_TRUE(controller->SendBinary(BuildViewerControlMessage("x"), kTestTimeoutMs));
  const auto viewer = Join({5, 0, 0, false});
  EXPECT_TRUE(host.events.WaitFor("desktop_input: x 0"));
}

TEST_F(Boundary, AFloodOfMessagesReachesTheHostWholeAndInOrder) {
  StartSession();
  const auto client = Join();
  constexpr int kMessages = 5'000;
  for (int i = 0; i < kMessages; ++i) {
    ASSERT_TRUE(client->SendBinary(BuildViewerControlMessage(std::to_string(i)), kTestTimeoutMs));
  }
  EXPECT_TRUE(host.events.WaitFor("desktop_input: " + std::to_string(kMessages - 1) + " 0"));
  std::vector<std::string> messages;
  for (std::string& event : host.events.All()) {
    if (event.starts_with("desktop_input")) messages.push_back(std::move(event));
  }
  ASSERT_EQ(messages.size(), size_t{kMessages});
  for (int i = 0; i < kMessages; ++i) {
    ASSERT_EQ(messages[static_cast<size_t>(i)], "desktop_input: " + std::to_string(i) + " 0");
  }
}

}  // namespace
}  // namespace talu::loopback
