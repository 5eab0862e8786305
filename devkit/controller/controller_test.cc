#include "devkit/controller/controller.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <thread>

#include "devkit/loopback/server.h"
#include "devkit/loopback/test_kit.h"

namespace talu::controller {
namespace {

using loopback::EventLog;
using loopback::Server;
using loopback::ServerEvents;
using loopback::ServerOptions;
using testing::StartsWith;

// Runs the controller against a real server whose host does as the tests say.
class ControllerTest : public testing::Test {
 protected:
  ControllerTest() {
    folder = std::filesystem::temp_directory_path() /
             ("controller_" + std::to_string(reinterpret_cast<uintptr_t>(this)) +
              testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder);
    ServerOptions serverOptions;
    serverOptions.token = "token";
    ServerEvents events;
    events.onSubscribed = [this](const SdkStreamRequest& request) {
      host.Add("subscribed " + std::to_string(request.fps));
      if (onSubscribed) onSubscribed();
    };
    events.onUnsubscribed = [this] { host.Add("unsubscribed"); };
    events.onProfile = [this](const SdkStreamRequest&) { host.Add("profile"); };
    events.onKeyFrameRequest = [this] { host.Add("keyframe"); };
    events.onScreenInfoRequest = [this] { server->SetScreen(640, 480); };
    events.onControl = [this](const std::string& label, const std::string& message,
                              size_t bodyOffset) {
      host.Add(label + ": " + message.substr(bodyOffset));
      if (onControl) onControl();
      return true;
    };
    events.waitingControlBytes = [] { return size_t{0}; };
    events.takesSubscriptions = [] { return true; };
    events.onLog = [](const std::string&) {};
    server = std::make_unique<Server>(serverOptions, events);
    std::string complaint;
    EXPECT_TRUE(server->Start(&complaint)) << complaint;
  }

  ~ControllerTest() override {
    server->Stop();
    std::filesystem::remove_all(folder);
  }

  std::unique_ptr<Controller> Make(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--url", server->Address()});
    return MakeBare(arguments);
  }

  std::unique_ptr<Controller> MakeBare(const std::vector<std::string>& arguments) {
    std::string complaint;
    const std::optional<Options> options = ParseOptions(arguments, &complaint);
    EXPECT_TRUE(options) << complaint;
    return std::make_unique<Controller>(
        *options, [this](const std::string& line) { printed.Add(line); },
        [this](const std::string& line) { printed.Add("complaint: " + line); });
  }

  void SendUnit(const std::string& unit, bool keyFrame) {
    server->SendVideo({reinterpret_cast<const uint8_t*>(unit.data()), unit.size()}, keyFrame, 0);
  }

  void SendControl(const std::string& body) {
    server->SendControl({reinterpret_cast<const uint8_t*>(body.data()), body.size()});
  }

  std::filesystem::path folder;
  EventLog host;
  EventLog printed;
  std::function<void()> onSubscribed;
  std::function<void()> onControl;
  std::unique_ptr<Server> server;
};

TEST_F(ControllerTest, DoesItsLinesInOrderAndEnds) {
  EXPECT_EQ(Make({"--fps", "12", "first", "/label other second", "/keyframe", "last"})->Run(),
            kExitDone);
  EXPECT_TRUE(host.WaitFor("unsubscribed"));
  EXPECT_THAT(host.All(),
              testing::ElementsAre("subscribed 12", "desktop_input: first", "other: second",
                                   "keyframe", "desktop_input: last", "unsubscribed"));
}

TEST_F(ControllerTest, SavesTheVideoAndCountsFrames) {
  onSubscribed = [this] {
    SendUnit("dropped", false);
    SendUnit("one", true);
    SendUnit("two", false);
  };
  const std::string file = (folder / "video.h264").string();
  EXPECT_EQ(Make({"--frames", "2", "--save", file, "--verbose", "--stats"})->Run(), kExitDone);
  std::ifstream stream(file, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "onetwo");
  EXPECT_EQ(printed.CountOfBeginning("video 1 key 3 bytes"), 1u);
  EXPECT_EQ(printed.CountOfBeginning("video 2 3 bytes"), 1u);
  EXPECT_THAT(printed.All().back(), StartsWith("{\"frames\":2,\"keyFrames\":1,\"gaps\":0,"));
}

TEST_F(ControllerTest, PrintsWhatComesAndEndsAtTheText) {
  onControl = [this] { SendControl("{\"type\":\"screens\",\"current\":0}"); };
  EXPECT_EQ(Make({"--until", "\"screens\"", "{\"type\":\"list_screens\"}"})->Run(), kExitDone);
  EXPECT_EQ(printed.CountOf("{\"type\":\"screens\",\"current\":0}"), 1u);
  EXPECT_EQ(printed.CountOfBeginning("{\"event\":\"hello\""), 1u);
}

TEST_F(ControllerTest, QuietStillSeesTheText) {
  EXPECT_EQ(Make({"--quiet", "--until", "screen\",\"width\":640", "/screen_info"})->Run(),
            kExitDone);
  EXPECT_EQ(printed.All().size(), 0u);
}

TEST_F(ControllerTest, ALineCanWaitForText) {
  EXPECT_EQ(Make({"/screen_info", "/until \"height\":480", "after"})->Run(), kExitDone);
  EXPECT_TRUE(host.WaitFor("desktop_input: after"));
  EXPECT_EQ(printed.CountOfBeginning("{\"event\":\"screen\""), 1u);
}

TEST_F(ControllerTest, TimeOverBeforeTheTextIsAnExitCodeOfItsOwn) {
  EXPECT_EQ(Make({"--seconds", "0.2", "--until", "never"})->Run(), kExitTimeOver);
  EXPECT_EQ(Make({"--seconds", "0.2", "--frames", "1"})->Run(), kExitTimeOver);
  EXPECT_EQ(Make({"--seconds", "0.2", "/until never"})->Run(), kExitTimeOver);
  EXPECT_EQ(Make({"--seconds", "0.2"})->Run(), kExitDone);
}

TEST_F(ControllerTest, TakesLinesUntilTheirEnd) {
  const auto controller = Make({"--stdin", "argument"});
  std::thread input([&] {
    host.WaitFor("desktop_input: argument");
    controller->AddLine("typed");
    host.WaitFor("desktop_input: typed");
    controller->EndOfLines();
  });
  EXPECT_EQ(controller->Run(), kExitDone);
  input.join();
}

TEST_F(ControllerTest, AWrongLineEndsTheRun) {
  const auto controller = Make({"--stdin"});
  controller->AddLine("/jump");
  EXPECT_EQ(controller->Run(), kExitUsage);
  EXPECT_EQ(printed.CountOf("complaint: cannot understand the line /jump"), 1u);
}

TEST_F(ControllerTest, RunsOnUntilInterrupted) {
  const auto controller = Make({});
  std::thread interrupt([&] {
    host.WaitFor("subscribed 0");
    controller->Interrupt();
  });
  EXPECT_EQ(controller->Run(), kExitDone);
  interrupt.join();
  EXPECT_TRUE(host.WaitFor("unsubscribed"));
}

TEST_F(ControllerTest, TheHostsEndIsALostConnection) {
  const auto controller = Make({});
  std::thread end([&] {
    host.WaitFor("subscribed 0");
    server->Stop();
  });
  EXPECT_EQ(controller->Run(), kExitNoConnection);
  end.join();
  EXPECT_EQ(printed.CountOf("{\"event\":\"bye\"}"), 1u);
  EXPECT_EQ(printed.CountOf("complaint: the connection ended, code 1001"), 1u);
}

TEST_F(ControllerTest, AControllerDoesNotSubscribe) {
  EXPECT_EQ(Make({"--control", "message"})->Run(), kExitDone);
  EXPECT_TRUE(host.WaitFor("desktop_input: message"));
  EXPECT_EQ(host.CountOfBeginning("subscribed"), 0u);
}

TEST_F(ControllerTest, WaitsForTheAddressFile) {
  const std::filesystem::path file = folder / "address";
  std::thread writer([&] {
    std::ofstream(folder / "draft") << server->Address() << "\n";
    std::filesystem::rename(folder / "draft", file);
  });
  EXPECT_EQ(MakeBare({"--url-file", file.string(), "message"})->Run(), kExitDone);
  writer.join();
  EXPECT_TRUE(host.WaitFor("desktop_input: message"));
}

TEST_F(ControllerTest, SaysWhyItCannotConnect) {
  std::string wrong = server->Address() + "x";
  EXPECT_EQ(MakeBare({"--url", wrong})->Run(), kExitNoConnection);
  EXPECT_EQ(printed.CountOf("complaint: cannot connect: refused with HTTP status 403"), 1u);
  EXPECT_EQ(MakeBare({"--url", "http://example.com/"})->Run(), kExitUsage);
  EXPECT_EQ(MakeBare({"--url-file", (folder / "none").string(), "--seconds", "0.1"})->Run(),
            kExitNoConnection);
  EXPECT_EQ(Make({"--save", (folder / "none" / "file").string()})->Run(), kExitCannotWrite);
}

}  // namespace
}  // namespace talu::controller
