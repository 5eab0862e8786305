#include "clipboard/clipboard_sync.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/fake_clipboard.h"
#include "tests/fakes/log_capture.h"
#include "tests/fakes/message_recorder.h"

namespace talu {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class ClipboardSyncTest : public testing::Test {
 protected:
  ClipboardSyncTest() {
    FakeClipboard::Reset();
    flags.controllerActive = true;
    sync.Start();
  }
  ~ClipboardSyncTest() override { sync.Stop(); }

  void UserCopies(const std::string& text) {
    FakeClipboard::Copy(text);
    FakeClipboard::WaitUntilTold();
  }

  void ControllerSends(std::string_view body, bool logThis = true) {
    sync.SetClipboardFromController(body, logThis);
    FakeClipboard::WaitUntilTold();
  }

  std::vector<std::string> Sent() { return recorder.Messages(); }

  SessionFlags flags;
  MessageRecorder recorder;
  ClipboardSync sync{flags, recorder.Session()};
  LogCapture log;
};

TEST_F(ClipboardSyncTest, SendsWhatTheUserCopies) {
  UserCopies("a\r\nb");
  EXPECT_THAT(Sent(), ElementsAre(R"({"type":"clipboard","text":"a\r\nb"})"));
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] clipboard -> controller (36 bytes)"));
}

TEST_F(ClipboardSyncTest, EscapesTabsQuotesAndBackslashesOnly) {
  UserCopies("\t\"\\剪贴板😀/");
  EXPECT_THAT(Sent(), ElementsAre(R"({"type":"clipboard","text":"\t\"\\剪贴板😀/"})"));
}

TEST_F(ClipboardSyncTest, PutsTheControllersTextOnTheClipboard) {
  ControllerSends(R"({"type":"clipboard","other":5,"text":"a\n\ud83d\ude00"})");
  EXPECT_EQ(FakeClipboard::Text(), "a\n😀");
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] clipboard <- controller (6 bytes)"));
}

TEST_F(ClipboardSyncTest, SendsNoEchoOfTheControllersText) {
  ControllerSends(R"({"type":"clipboard","text":"hello"})");
  EXPECT_THAT(Sent(), IsEmpty());
  UserCopies("hello");
  EXPECT_THAT(Sent(), IsEmpty()) << "the controller has that text already";
  UserCopies("other");
  UserCopies("hello");
  EXPECT_EQ(Sent().size(), 2u) << "but only while it is the last one";
}

TEST_F(ClipboardSyncTest, LeavesTheControllersTextUnreadWhereItIsKnownUnread) {
  FakeClipboard::SetTellsOwnText(true);
  ControllerSends(R"({"type":"clipboard","text":"hello"})");
  EXPECT_EQ(FakeClipboard::ReadCount(), 0u);
  EXPECT_THAT(Sent(), IsEmpty());
  UserCopies("hello");
  EXPECT_EQ(FakeClipboard::ReadCount(), 1u);
  EXPECT_THAT(Sent(), IsEmpty());
  UserCopies("world");
  EXPECT_THAT(Sent(), ElementsAre(R"({"type":"clipboard","text":"world"})"));
}

TEST_F(ClipboardSyncTest, SendsNoEchoOfATextThatIsSeenBeforeItsWriteHasEnded) {
  FakeClipboard::SetWritesTakeLong(true);
  ControllerSends(R"({"type":"clipboard","text":"hello"})");
  EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(ClipboardSyncTest, SendsTheSameTextOnce) {
  UserCopies("same");
  UserCopies("same");
  EXPECT_EQ(Sent().size(), 1u);
}

TEST_F(ClipboardSyncTest, SendsNothingForPicturesOrAnUnreadableClipboard) {
  FakeClipboard::CopyPicture();
  FakeClipboard::WaitUntilTold();
  FakeClipboard::SetOpenElsewhere(true);
  UserCopies("hidden");
  EXPECT_THAT(Sent(), IsEmpty());
  FakeClipboard::SetOpenElsewhere(false);
  UserCopies("hidden");
  EXPECT_EQ(Sent().size(), 1u) << "what could not be read was not remembered";
}

TEST_F(ClipboardSyncTest, DropsWhatIsCopiedWhileNoControllerIsActive) {
  flags.controllerActive = false;
  UserCopies("secret");
  flags.controllerActive = true;
  FakeClipboard::WaitUntilTold();
  EXPECT_THAT(Sent(), IsEmpty());
  EXPECT_THAT(log.Lines(), IsEmpty());
  UserCopies("secret");
  EXPECT_EQ(Sent().size(), 1u) << "nor was it remembered";
}

TEST_F(ClipboardSyncTest, SendsMessagesUpToTheLimitOnly) {
  const std::string fits(16384 - 28 - 2, 'a');
  UserCopies(fits);
  ASSERT_EQ(Sent().size(), 1u);
  EXPECT_EQ(Sent()[0].size(), 16384u);
  UserCopies(fits + "a");
  UserCopies(fits + "a");
  EXPECT_EQ(Sent().size(), 1u);
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] clipboard -> controller (16384 bytes)",
                                       "[agent] clipboard 16385 bytes 超过单条消息上限，跳过同步"));
}

TEST_F(ClipboardSyncTest, CountsTheEscapedSizeAgainstTheLimit) {
  UserCopies(std::string((16384 - 30) / 2, '"'));
  EXPECT_EQ(Sent().size(), 1u);
  UserCopies(std::string((16384 - 30) / 2, '"') + "a");
  EXPECT_EQ(Sent().size(), 1u);
  EXPECT_EQ(log.Lines().back(), "[agent] clipboard 16385 bytes 超过单条消息上限，跳过同步");
}

TEST_F(ClipboardSyncTest, RemembersATextTooLargeToSend) {
  const std::string large(20000, 'a');
  UserCopies(large);
  UserCopies("small");
  UserCopies(large);
  EXPECT_EQ(Sent().size(), 1u);
  EXPECT_EQ(log.Lines().size(), 3u) << "logged again after something else was copied";
}

TEST_F(ClipboardSyncTest, RemembersWhatNoSessionCouldTake) {
  recorder.Close();
  UserCopies("early");
  UserCopies("early");
  EXPECT_THAT(Sent(), IsEmpty());
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(ClipboardSyncTest, ComplainsOfNoLengthWhereNothingCouldBeSent) {
  recorder.Close();
  UserCopies(std::string(20000, 'a'));
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(ClipboardSyncTest, IgnoresAMissingEmptyOrBrokenText) {
  UserCopies("kept");
  for (const char* body :
       {R"({"type":"clipboard","text":""})", R"({"type":"clipboard"})",
        R"({"type":"clipboard","text":5})", R"({"type":"clipboard","text":"broken)",
        R"({"type":"clipboard","text":"broken\u12"})"}) {
    ControllerSends(body);
  }
  EXPECT_EQ(FakeClipboard::Text(), "kept");
  EXPECT_EQ(FakeClipboard::WriteCount(), 0u);
  EXPECT_EQ(log.Lines().size(), 1u);
}

TEST_F(ClipboardSyncTest, LogsWhatItReceivesOnlyWhenAllowed) {
  ControllerSends(R"({"type":"clipboard","text":"a"})", false);
  EXPECT_EQ(FakeClipboard::Text(), "a");
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(ClipboardSyncTest, LogsWhatItReceivesEvenWhenTheClipboardIsNotSet) {
  FakeClipboard::SetOpenElsewhere(true);
  ControllerSends(R"({"type":"clipboard","text":"lost"})");
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] clipboard <- controller (4 bytes)"));
}

TEST_F(ClipboardSyncTest, KeepsNulsInTheControllersText) {
  ControllerSends(R"({"type":"clipboard","text":"a\u0000b"})");
  EXPECT_EQ(FakeClipboard::Text(), "a\0b"s);
}

TEST_F(ClipboardSyncTest, AcceptsTextWithoutAnActiveController) {
  flags.controllerActive = false;
  ControllerSends(R"({"type":"clipboard","text":"first"})");
  EXPECT_EQ(FakeClipboard::Text(), "first");
}

TEST_F(ClipboardSyncTest, SendsNothingAfterStop) {
  sync.Stop();
  UserCopies("late");
  EXPECT_THAT(Sent(), IsEmpty());
  sync.Start();
  UserCopies("again");
  EXPECT_EQ(Sent().size(), 1u);
}

// Whichever text wins while both sides write, the next one gets through.
TEST_F(ClipboardSyncTest, MeetsBothDirectionsAtOnce) {
  std::vector<std::thread> senders;
  for (int sender = 0; sender < 3; ++sender) {
    senders.emplace_back([&, sender] {
      const std::string body = R"({"type":"clipboard","text":"text number )" +
                               std::to_string(sender) + " of a controller\"}";
      for (int count = 0; count < 100; ++count) {
        sync.SetClipboardFromController(body, false);
      }
    });
  }
  for (int count = 0; count < 100; ++count) {
    FakeClipboard::Copy("text number " + std::to_string(count) + " of the user");
  }
  for (std::thread& sender : senders) sender.join();
  FakeClipboard::WaitUntilTold();
  UserCopies("the last one");
  ASSERT_FALSE(Sent().empty());
  EXPECT_EQ(Sent().back(), R"({"type":"clipboard","text":"the last one"})");
}

}  // namespace
}  // namespace talu
