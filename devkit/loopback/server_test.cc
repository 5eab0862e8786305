#include "devkit/loopback/server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <thread>

#include "devkit/controller/stream_client.h"
#include "devkit/loopback/test_kit.h"
#include "devkit/loopback/wire.h"

namespace talu::loopback {
namespace {

using controller::Handshake;
using controller::ReceivedMessage;
using controller::ReceiveResult;
using controller::StreamClient;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kToken[] = "0123456789abcdef";

std::string Text(const ReceivedMessage& message) {
  return {message.bytes.begin(), message.bytes.end()};
}

class ServerTest : public testing::Test {
 protected:
  ServerTest() {
    folder =
        std::filesystem::path(testing::TempDir()) /
        ("loopback_server_" +
         std::to_string(reinterpret_cast<uintptr_t>(this) ^
                        static_cast<uintptr_t>(testing::UnitTest::GetInstance()->random_seed())) +
         testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "index.html") << "<html>the page</html>";
    std::ofstream(folder / "viewer.js") << "// the script";
    options.token = kToken;
    options.viewerFolder = folder;
    options.instance = "desk \"1\"";
    options.width = 1280;
    options.height = 720;
  }

  ~ServerTest() override {
    server.reset();
    std::filesystem::remove_all(folder);
  }

  void Start() {
    ServerEvents serverEvents;
    serverEvents.onSubscribed = [this](const SdkStreamRequest& r) {
      events.Add("subscribed " + std::to_string(r.fps) + " " + std::to_string(r.maxKbps) + " " +
                 std::to_string(r.minKbps));
    };
    serverEvents.onUnsubscribed = [this] { events.Add("unsubscribed"); };
    serverEvents.onProfile = [this](const SdkStreamRequest& r) {
      events.Add("profile " + std::to_string(r.fps) + " " + std::to_string(r.maxKbps) + " " +
                 std::to_string(r.minKbps));
    };
    serverEvents.onKeyFrameRequest = [this] { events.Add("keyframe"); };
    serverEvents.onScreenInfoRequest = [this] { events.Add("screen info"); };
    serverEvents.onControl = [this](const std::string& label, const std::string& message,
                                    size_t bodyOffset) {
      const size_t bodyBytes = message.size() - bodyOffset;
      events.Add(
          label + ": " +
          (bodyBytes > 1000 ? std::to_string(bodyBytes) + " bytes" : message.substr(bodyOffset)));
      return takesMore.load();
    };
    serverEvents.waitingControlBytes = [this] { return waitingBytes.load(); };
    serverEvents.takesSubscriptions = [this] { return takesSubscriptions.load(); };
    serverEvents.onLog = [this](const std::string& line) { events.Add("log " + line); };
    server = std::make_unique<Server>(options, serverEvents);
    std::string complaint;
    ASSERT_TRUE(server->Start(&complaint)) << complaint;
  }

  Handshake StreamHandshake(const std::string& query = "") const {
    return {server->Port(), "/stream?token=" + std::string(kToken) + query,
            "127.0.0.1:" + std::to_string(server->Port()), ""};
  }

  // A viewer that has read its greeting.
  std::unique_ptr<StreamClient> Join(const std::string& query = "") {
    auto client = std::make_unique<StreamClient>();
    std::string complaint;
    EXPECT_TRUE(client->Connect(StreamHandshake(query), kTestTimeoutMs, &complaint)) << complaint;
    EXPECT_THAT(NextText(client.get()), StartsWith("{\"event\":\"hello\""));
    return client;
  }

  static std::string NextText(StreamClient* client) {
    ReceivedMessage message;
    if (client->Receive(&message, kTestTimeoutMs) != ReceiveResult::kMessage) return "(nothing)";
    return message.text ? Text(message) : "(binary)";
  }

  // The next video message's header; its sequence number is ~0 when none came.
  static VideoHeader NextVideo(StreamClient* client) {
    ReceivedMessage message;
    VideoHeader header;
    header.sequence = ~0u;
    if (client->Receive(&message, kTestTimeoutMs) != ReceiveResult::kMessage) return header;
    return ReadVideoHeader(message.bytes).value_or(header);
  }

  void SendVideo(size_t bytes, bool keyFrame, int64_t timestampMs = 0) {
    server->SendVideo(std::vector<uint8_t>(bytes, 7), keyFrame, timestampMs);
  }

  SendResult SendControl(const std::string& body) {
    return server->SendControl({reinterpret_cast<const uint8_t*>(body.data()), body.size()});
  }

  // The first line of the answer.
  std::string StatusOf(const std::string& request) {
    RawSocket socket(server->Port());
    socket.Send(request);
    bool closed = false;
    const std::string answer = socket.ReadToTheEnd(&closed);
    EXPECT_TRUE(closed);
    return answer.substr(0, answer.find("\r\n"));
  }

  // The closing code of a connection that sends this after its greeting.
  uint16_t CloseCodeAfter(const std::string& bytes, bool text) {
    auto client = Join();
    if (text) {
      EXPECT_TRUE(client->SendText(bytes, kTestTimeoutMs));
    } else {
      EXPECT_TRUE(client->SendBinary({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()},
                                     kTestTimeoutMs));
    }
    ReceivedMessage message;
    while (client->Receive(&message, kTestTimeoutMs) == ReceiveResult::kMessage) {
    }
    return client->CloseCode();
  }

  std::filesystem::path folder;
  ServerOptions options;
  EventLog events;
  std::atomic<bool> takesMore{true};
  std::atomic<bool> takesSubscriptions{true};
  std::atomic<size_t> waitingBytes{0};
  std::unique_ptr<Server> server;
};

TEST_F(ServerTest, ServesThePageToWhoKnowsTheToken) {
  Start();
  RawSocket socket(server->Port());
  socket.Send(MakeRequest(server->Port(), "/?token=0123456789abcdef"));
  bool closed = false;
  const std::string answer = socket.ReadToTheEnd(&closed);
  EXPECT_TRUE(closed);
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(answer, HasSubstr("text/html"));
  EXPECT_THAT(answer, HasSubstr("<html>the page</html>"));
}

TEST_F(ServerTest, ThePagesCookieLetsItsFilesIn) {
  Start();
  RawSocket page(server->Port());
  page.Send(MakeRequest(server->Port(), "/?token=0123456789abcdef"));
  const std::string answer = page.ReadUntil("the page");
  const size_t start = answer.find("Set-Cookie: ") + 12;
  const std::string cookie = answer.substr(start, answer.find(';', start) - start);
  EXPECT_EQ(StatusOf(MakeRequest(server->Port(), "/viewer.js", "Cookie: " + cookie + "\r\n")),
            "HTTP/1.1 200 OK");
  EXPECT_EQ(StatusOf(MakeRequest(server->Port(), "/viewer.js")), "HTTP/1.1 403 Forbidden");
  EXPECT_EQ(StatusOf(MakeRequest(server->Port(), "/", "Cookie: " + cookie + "\r\n")),
            "HTTP/1.1 403 Forbidden");
}

TEST_F(ServerTest, AnswersAHeadRequestWithoutTheFile) {
  Start();
  RawSocket socket(server->Port());
  std::string request = MakeRequest(server->Port(), "/viewer.js?token=0123456789abcdef");
  socket.Send("HEAD" + request.substr(3));
  bool closed = false;
  const std::string answer = socket.ReadToTheEnd(&closed);
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(answer, HasSubstr("Content-Length: 13\r\n"));
  EXPECT_TRUE(answer.ends_with("\r\n\r\n"));
}

TEST_F(ServerTest, RefusesWrongMissingAndRepeatedTokens) {
  Start();
  const uint16_t port = server->Port();
  EXPECT_EQ(StatusOf(MakeRequest(port, "/")), "HTTP/1.1 403 Forbidden");
  EXPECT_EQ(StatusOf(MakeRequest(port, "/?token=wrong")), "HTTP/1.1 403 Forbidden");
  EXPECT_EQ(StatusOf(MakeRequest(port, "/?token=0123456789abcdef&token=0123456789abcdef")),
            "HTTP/1.1 403 Forbidden");
  EXPECT_EQ(StatusOf(MakeRequest(port, "/stream", UpgradeHeaders())), "HTTP/1.1 403 Forbidden");
  EXPECT_EQ(StatusOf(MakeRequest(port, "/stream?token=0123456789abcdeF", UpgradeHeaders())),
            "HTTP/1.1 403 Forbidden");
  EXPECT_EQ(events.CountOfBeginning("subscribed"), 0u);
}

TEST_F(ServerTest, RefusesForeignOriginsAndHosts) {
  Start();
  const std::string port = std::to_string(server->Port());
  StreamClient client;
  std::string complaint;
  Handshake foreign = StreamHandshake();
  foreign.origin = "http://example.com";
  EXPECT_FALSE(client.Connect(foreign, kTestTimeoutMs, &complaint));
  EXPECT_EQ(client.HttpStatus(), 403u);
  StreamClient renamed;
  Handshake rebound = StreamHandshake();
  rebound.host = "evil.example:" + port;
  EXPECT_FALSE(renamed.Connect(rebound, kTestTimeoutMs, &complaint));
  EXPECT_EQ(renamed.HttpStatus(), 403u);
  StreamClient own;
  Handshake good = StreamHandshake();
  good.origin = "http://127.0.0.1:" + port;
  EXPECT_TRUE(own.Connect(good, kTestTimeoutMs, &complaint)) << complaint;
}

TEST_F(ServerTest, LogsOnlyTheFirstTwentyRefusals) {
  Start();
  for (int i = 0; i < 30; ++i) StatusOf(MakeRequest(server->Port(), "/?token=guess"));
  EXPECT_EQ(events.CountOfBeginning("log viewer refused"), 20u);
}

TEST_F(ServerTest, AnswersWhatIsNoRequest) {
  Start();
  EXPECT_EQ(StatusOf("complete nonsense\r\n\r\n"), "HTTP/1.1 400 Bad Request");
  EXPECT_THAT(StatusOf("GET / HTTP/1.1\r\nX: " + std::string(20'000, 'x') + "\r\n\r\n"),
              HasSubstr("431"));
  EXPECT_THAT(StatusOf(MakeRequest(server->Port(), "/stream?token=0123456789abcdef")),
              HasSubstr("426"));
  EXPECT_THAT(StatusOf(MakeRequest(server->Port(), "/none.js?token=0123456789abcdef")),
              HasSubstr("404"));
  EXPECT_THAT(StatusOf(MakeRequest(server->Port(), "/../secret?token=0123456789abcdef")),
              HasSubstr("404"));
  std::string post = MakeRequest(server->Port(), "/?token=0123456789abcdef");
  EXPECT_THAT(StatusOf("POST" + post.substr(3)), HasSubstr("405"));
}

TEST_F(ServerTest, HandsASubscriptionsWishesOn) {
  Start();
  const auto client = Join("&fps=24&max=3000&min=-1");
  EXPECT_TRUE(events.WaitFor("subscribed 24 3000 -1"));
}

TEST_F(ServerTest, GreetsWithNameAndSize) {
  Start();
  server->SetScreen(1024, 768);
  StreamClient client;
  std::string complaint;
  ASSERT_TRUE(client.Connect(StreamHandshake(), kTestTimeoutMs, &complaint));
  EXPECT_EQ(NextText(&client),
            "{\"event\":\"hello\",\"instance\":\"desk \\\"1\\\"\",\"width\":1024,\"height\":768,"
            "\"role\":\"subscriber\"}");
  server->SetScreen(800, 600);
  EXPECT_EQ(NextText(&client), "{\"event\":\"screen\",\"width\":800,\"height\":600}");
}

TEST_F(ServerTest, SendsUnitsFromTheFirstKeyFrameOn) {
  Start();
  const auto client = Join();
  SendVideo(10, false);
  SendVideo(20, true, 1234);
  SendVideo(30, false);
  ReceivedMessage message;
  ASSERT_EQ(client->Receive(&message, kTestTimeoutMs), ReceiveResult::kMessage);
  const std::optional<VideoHeader> header = ReadVideoHeader(message.bytes);
  ASSERT_TRUE(header);
  EXPECT_TRUE(header->keyFrame);
  EXPECT_EQ(header->sequence, 1u);
  EXPECT_EQ(header->timestampMs, 1234);
  EXPECT_GT(header->handedOverUs, 1'600'000'000'000'000);
  EXPECT_EQ(message.bytes.size(), kVideoHeaderBytes + 20);
  EXPECT_EQ(NextVideo(client.get()).sequence, 2u);
}

TEST_F(ServerTest, CarriesControlMessagesBothWays) {
  Start();
  EXPECT_EQ(SendControl("{\"too\":\"early\"}"), SendResult::kNoViewer);
  const auto client = Join();
  EXPECT_EQ(SendControl("{\"type\":\"screens\"}"), SendResult::kSent);
  ReceivedMessage message;
  ASSERT_EQ(client->Receive(&message, kTestTimeoutMs), ReceiveResult::kMessage);
  EXPECT_FALSE(message.text);
  EXPECT_EQ(Text(message), std::string("\2\0\0\0{\"type\":\"screens\"}", 22));
  EXPECT_TRUE(
      client->SendBinary(BuildViewerControlMessage("{\"type\":\"reset\"}"), kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("desktop_input: {\"type\":\"reset\"}"));
  EXPECT_TRUE(client->SendBinary(*BuildViewerLabelledMessage("other", "x"), kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("other: x"));
}

TEST_F(ServerTest, HandsCommandsOn) {
  Start();
  const auto client = Join();
  EXPECT_TRUE(client->SendText("{\"command\":\"profile\",\"fps\":60,\"max\":3000,\"min\":100}",
                               kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("profile 60 3000 100"));
  EXPECT_TRUE(client->SendText("{\"command\":\"keyframe\"}", kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("keyframe"));
  EXPECT_TRUE(client->SendText("{\"command\":\"screen_info\"}", kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("screen info"));
}

TEST_F(ServerTest, TheNewestViewerIsTheSubscriber) {
  Start();
  const auto first = Join();
  const auto second = Join("&fps=10");
  EXPECT_TRUE(events.WaitFor("subscribed 10 0 0"));
  EXPECT_EQ(NextText(first.get()), "{\"event\":\"replaced\"}");
  SendVideo(10, true);
  EXPECT_EQ(NextVideo(second.get()).sequence, 0u);
  EXPECT_TRUE(first->SendBinary(BuildViewerControlMessage("late bye"), kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("desktop_input: late bye"));
  first->Close(kTestTimeoutMs);
  second->Close(kTestTimeoutMs);
  EXPECT_TRUE(events.WaitFor("unsubscribed"));
  EXPECT_EQ(events.CountOf("unsubscribed"), 1u);
}

TEST_F(ServerTest, CommandsOfAReplacedViewerAreIgnored) {
  Start();
  const auto first = Join();
  const auto second = Join();
  EXPECT_TRUE(first->SendText("{\"command\":\"keyframe\"}", kTestTimeoutMs));
  EXPECT_TRUE(first->SendBinary(BuildViewerControlMessage("after it"), kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("desktop_input: after it"));
  EXPECT_EQ(events.CountOf("keyframe"), 0u);
}

TEST_F(ServerTest, AControllerTakesPartWithoutSubscribing) {
  Start();
  const auto viewer = Join();
  const auto controller = Join("&control=1");
  EXPECT_EQ(SendControl("to both"), SendResult::kSent);
  SendVideo(10, true);
  ReceivedMessage message;
  ASSERT_EQ(controller->Receive(&message, kTestTimeoutMs), ReceiveResult::kMessage);
  EXPECT_THAT(Text(message), HasSubstr("to both"));
  EXPECT_TRUE(controller->SendText("{\"command\":\"keyframe\"}", kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("keyframe"));
  controller->Close(kTestTimeoutMs);
  viewer->Close(kTestTimeoutMs);
  EXPECT_TRUE(events.WaitFor("unsubscribed"));
  EXPECT_EQ(events.CountOfBeginning("subscribed"), 1u);
  EXPECT_EQ(events.CountOf("unsubscribed"), 1u);
}

TEST_F(ServerTest, ClosesOnAnyMessageThatIsNone) {
  Start();
  constexpr uint16_t kPolicyViolation = 1008;
  EXPECT_EQ(CloseCodeAfter("{\"command\":\"format\"}", true), kPolicyViolation);
  EXPECT_EQ(CloseCodeAfter("", true), kPolicyViolation);
  EXPECT_EQ(CloseCodeAfter(std::string(5000, ' '), true), kPolicyViolation);
  EXPECT_EQ(CloseCodeAfter("", false), kPolicyViolation);
  EXPECT_EQ(CloseCodeAfter(std::string("\1video", 6), false), kPolicyViolation);
  EXPECT_EQ(CloseCodeAfter(std::string("\3\x09too", 5), false), kPolicyViolation);
  EXPECT_EQ(events.CountOfBeginning("subscribed"), 6u);
}

TEST_F(ServerTest, ClosesOnFramesOfEveryIllegalKind) {
  Start();
  const std::string huge(1, '\xff');
  const std::vector<std::pair<const char*, std::string>> illegal = {
      {"a reserved opcode", MakeFrame(0x83, "x")},
      {"a reserved control opcode", MakeFrame(0x8b, "x")},
      {"a reserved bit", MakeFrame(0xc2, "x")},
      {"not masked", std::string("\x82\x01x", 3)},
      {"a ping in fragments", MakeFrame(0x09, "x")},
      {"a ping too long", MakeFrame(0x89, std::string(126, 'x'))},
      {"a continuation of nothing", MakeFrame(0x80, "x")},
      {"a message within a message", MakeFrame(0x02, "\2x") + MakeFrame(0x82, "\2x")},
      {"text that is no UTF-8", MakeFrame(0x81, "\xff\xfe")},
      {"a close of one byte", MakeFrame(0x88, "x")},
      {"a close with a reserved code", MakeFrame(0x88, std::string("\x03\xed", 2))},
      {"longer than any memory", std::string("\x82\xff\x7f\xff\xff\xff\xff\xff\xff\xffmask", 14)},
      {"a negative length", std::string("\x82\xff\xff\xff\xff\xff\xff\xff\xff\xffmask", 14)},
  };
  for (const auto& [what, bytes] : illegal) {
    RawSocket socket(server->Port());
    socket.Send(MakeRequest(server->Port(), "/stream?token=0123456789abcdef", UpgradeHeaders()));
    EXPECT_THAT(socket.ReadUntil("hello"), StartsWith("HTTP/1.1 101")) << what;
    socket.Send(bytes);
    bool closed = false;
    socket.ReadToTheEnd(&closed);
    EXPECT_TRUE(closed) << what;
  }
  EXPECT_TRUE(events.WaitFor("unsubscribed", illegal.size()));
  const auto after = Join();
}

TEST_F(ServerTest, RefusesFramesSentBeforeTheHandshake) {
  Start();
  EXPECT_THAT(
      StatusOf(MakeRequest(server->Port(), "/stream?token=0123456789abcdef", UpgradeHeaders()) +
               MakeFrame(0x82, "\2x")),
      HasSubstr("400"));
}

TEST_F(ServerTest, TakesAMessageOf64MiBAndRefusesALongerOne) {
  Start();
  auto client = Join();
  const std::string body(kMaxBodyBytes, 'x');
  EXPECT_TRUE(client->SendBinary(BuildViewerControlMessage(body), kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("desktop_input: 67108864 bytes"));
  constexpr uint16_t kTooBig = 1009;
  // The answer may come while the message is still being written.
  client->SendBinary(BuildViewerControlMessage(body + std::string(300, 'x')), kTestTimeoutMs);
  ReceivedMessage message;
  while (client->Receive(&message, kTestTimeoutMs) == ReceiveResult::kMessage) {
  }
  EXPECT_TRUE(client->CloseCode() == kTooBig || client->CloseCode() == 0) << client->CloseCode();
  EXPECT_TRUE(events.WaitFor("unsubscribed"));
  EXPECT_EQ(events.CountOfBeginning("desktop_input"), 1u);
}

TEST_F(ServerTest, ReceivesNoMoreAtOnceThanItsBudget) {
  options.inboundBytes = 1u << 20;
  // These sockets do not answer a closing frame.
  options.requestTimeoutMs = 1000;
  Start();
  std::vector<std::unique_ptr<RawSocket>> sockets;
  // Unfinished messages of 600 KiB each: two do not fit.
  const std::string half = MakeFrame(0x02, std::string(600 << 10, '\2'));
  for (int i = 0; i < 3; ++i) {
    sockets.push_back(std::make_unique<RawSocket>(server->Port()));
    sockets.back()->Send(
        MakeRequest(server->Port(), "/stream?token=0123456789abcdef&control=1", UpgradeHeaders()));
    sockets.back()->ReadUntil("hello");
    sockets.back()->Send(half);
  }
  int closedOnes = 0;
  for (size_t i = 1; i < sockets.size(); ++i) {
    bool closed = false;
    // 1013: try again later.
    if (sockets[i]->ReadToTheEnd(&closed).find("\x03\xf5") != std::string::npos) ++closedOnes;
  }
  EXPECT_GE(closedOnes, 1);
  sockets.clear();
  const auto after = Join();
  EXPECT_TRUE(
      after->SendBinary(BuildViewerControlMessage(std::string(900 << 10, 'x')), kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("desktop_input: 921600 bytes"));
}

TEST_F(ServerTest, ReadsNoFurtherUntilTheHostHasRoom) {
  Start();
  const auto client = Join();
  takesMore = false;
  EXPECT_TRUE(client->SendBinary(BuildViewerControlMessage("one"), kTestTimeoutMs));
  EXPECT_TRUE(client->SendBinary(BuildViewerControlMessage("two"), kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("desktop_input: one"));
  // Another connection's round trip: had the second been read, it would have come before.
  const auto other = Join("&control=1");
  EXPECT_TRUE(other->SendText("{\"command\":\"keyframe\"}", kTestTimeoutMs));
  EXPECT_TRUE(events.WaitFor("keyframe"));
  EXPECT_EQ(events.CountOf("desktop_input: two"), 0u);
  takesMore = true;
  server->ResumeReading();
  EXPECT_TRUE(events.WaitFor("desktop_input: two"));
}

TEST_F(ServerTest, TurnsSubscribersAwayWhileTheHostIsBusy) {
  Start();
  takesSubscriptions = false;
  StreamClient client;
  std::string complaint;
  EXPECT_FALSE(client.Connect(StreamHandshake(), kTestTimeoutMs, &complaint));
  EXPECT_EQ(client.HttpStatus(), 503u);
}

TEST_F(ServerTest, AViewerThatReadsNothingLosesVideoAndIsAskedForAKeyFrameLater) {
  options.outbox.videoUnits = 4;
  Start();
  auto client = Join();
  SendVideo(50, true);
  EXPECT_TRUE(NextVideo(client.get()).keyFrame);
  // Not read: what the system's buffers do not take has to be dropped.
  for (int i = 1; i < 400; ++i) SendVideo(100'000, false);
  // It reads on until it has caught up; then, not before, a key frame is asked for.
  std::thread host([this] {
    if (events.WaitFor("keyframe")) SendVideo(50, true);
  });
  VideoHeader next = NextVideo(client.get());
  uint32_t expected = 1;
  while (next.sequence != ~0u && !next.keyFrame) {
    EXPECT_EQ(next.sequence, expected++);
    next = NextVideo(client.get());
  }
  host.join();
  EXPECT_TRUE(next.keyFrame);
  EXPECT_EQ(next.sequence, 400u);
  EXPECT_LT(expected, 400u);
}

TEST_F(ServerTest, DropsConnectionsThatSayNothing) {
  options.requestTimeoutMs = 200;
  Start();
  RawSocket silent(server->Port());
  RawSocket slow(server->Port());
  slow.Send("GET / HT");
  bool closed = false;
  silent.ReadToTheEnd(&closed);
  EXPECT_TRUE(closed);
  slow.ReadToTheEnd(&closed);
  EXPECT_TRUE(closed);
}

TEST_F(ServerTest, DropsAConnectionThatTricklesItsRequest) {
  options.requestTimeoutMs = 200;
  Start();
  RawSocket socket(server->Port());
  const std::string endless = MakeRequest(server->Port(), "/?token=0123456789abcdef").substr(0, 40);
  EXPECT_TRUE(socket.Send(endless));
  // A byte in time is not a request in time. The header's limit would end it too, but much later.
  int bytes = 0;
  while (bytes < 7000 && socket.Send("x")) {
    ++bytes;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_LT(bytes, 7000);
}

TEST_F(ServerTest, DropsAViewerThatAnswersNoPing) {
  options.idleTimeoutMs = 400;
  Start();
  RawSocket socket(server->Port());
  socket.Send(MakeRequest(server->Port(), "/stream?token=0123456789abcdef", UpgradeHeaders()));
  bool closed = false;
  socket.ReadToTheEnd(&closed);
  EXPECT_TRUE(closed);
  EXPECT_TRUE(events.WaitFor("unsubscribed"));
}

TEST_F(ServerTest, DropsAViewerThatNeverReads) {
  options.idleTimeoutMs = 400;
  Start();
  RawSocket socket(server->Port());
  socket.ShrinkReceiveBuffer();
  socket.Send(MakeRequest(server->Port(), "/stream?token=0123456789abcdef", UpgradeHeaders()));
  EXPECT_TRUE(events.WaitFor("subscribed 0 0 0"));
  // Until nothing more fits into the system's buffers and a write is stuck.
  while (events.CountOf("keyframe") == 0 && events.CountOf("unsubscribed") == 0) {
    for (int i = 0; i < 100; ++i) SendVideo(100'000, i == 0);
  }
  EXPECT_TRUE(events.WaitFor("unsubscribed"));
}

TEST_F(ServerTest, EndsWithAWriteThatIsStuck) {
  Start();
  RawSocket socket(server->Port());
  socket.ShrinkReceiveBuffer();
  socket.Send(MakeRequest(server->Port(), "/stream?token=0123456789abcdef", UpgradeHeaders()));
  EXPECT_TRUE(events.WaitFor("subscribed 0 0 0"));
  SendVideo(32u << 20, true);
  server.reset();
  SUCCEED();
}

TEST_F(ServerTest, EndsWithAFileHalfRead) {
  options.requestTimeoutMs = 200;
  std::ofstream(folder / "large.js") << std::string(15u << 20, 'x');
  Start();
  RawSocket socket(server->Port());
  socket.ShrinkReceiveBuffer();
  socket.Send(MakeRequest(server->Port(), "/large.js?token=0123456789abcdef"));
  socket.ReadUntil("HTTP/1.1 200 OK");
  server.reset();
  SUCCEED();
}

TEST_F(ServerTest, TellsAViewerThatLetsControlMessagesPileUp) {
  options.outbox.controlMessages = 10;
  Start();
  const auto client = Join();
  SendResult result = SendResult::kSent;
  for (int i = 0; i < 1000 && result == SendResult::kSent; ++i) {
    result = SendControl(std::string(100'000, 'x'));
  }
  EXPECT_EQ(result, SendResult::kTooSlow);
}

TEST_F(ServerTest, TwoHundredConnectionsDoNotKeepANewViewerOut) {
  options.maxConnections = 64;
  Start();
  std::vector<std::unique_ptr<RawSocket>> silent;
  for (int i = 0; i < 100; ++i) silent.push_back(std::make_unique<RawSocket>(server->Port()));
  std::vector<std::unique_ptr<StreamClient>> viewers;
  for (int i = 0; i < 100; ++i) viewers.push_back(Join());
  SendVideo(10, true);
  ReceivedMessage message;
  ASSERT_EQ(viewers.back()->Receive(&message, kTestTimeoutMs), ReceiveResult::kMessage);
  EXPECT_TRUE(ReadVideoHeader(message.bytes));
  EXPECT_EQ(events.CountOf("unsubscribed"), 0u);
}

TEST_F(ServerTest, SaysByeWhenItEnds) {
  Start();
  const auto viewer = Join();
  const auto controller = Join("&control=1");
  RawSocket silent(server->Port());
  // The client answers the closing handshake while it waits.
  std::thread stop([this] { server->Stop(); });
  EXPECT_EQ(NextText(viewer.get()), "{\"event\":\"bye\"}");
  EXPECT_EQ(NextText(controller.get()), "{\"event\":\"bye\"}");
  ReceivedMessage message;
  EXPECT_EQ(viewer->Receive(&message, kTestTimeoutMs), ReceiveResult::kClosed);
  stop.join();
  RawSocket late(server->Port());
  EXPECT_FALSE(late.IsConnected());
}

TEST_F(ServerTest, EndsWithoutWaitingForViewersThatDoNotAnswer) {
  Start();
  const auto viewer = Join();
  server->Stop();
  // Goes nowhere, does no harm.
  SendControl("late");
  SendVideo(10, true);
}

TEST_F(ServerTest, AFixedPortCanBeServedAgainAtOnce) {
  Start();
  options.port = server->Port();
  const auto viewer = Join();
  server.reset();
  Start();
  const auto again = Join();
  EXPECT_EQ(server->Address(),
            "http://127.0.0.1:" + std::to_string(options.port) + "/?token=0123456789abcdef");
}

TEST_F(ServerTest, APortInUseIsAComplaint) {
  Start();
  ServerOptions second = options;
  second.port = server->Port();
  Server other(second, ServerEvents{});
  std::string complaint;
  EXPECT_FALSE(other.Start(&complaint));
  EXPECT_NE(complaint, "");
}

}  // namespace
}  // namespace talu::loopback
