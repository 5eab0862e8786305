// The clipboard's Windows side over the real user32, and the whole of the synchronisation with it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "clipboard/clipboard_sync.h"
#include "clipboard/clipboard_text.h"
#include "clipboard/clipboard_watcher.h"
#include "tests/fakes/log_capture.h"
#include "tests/fakes/message_recorder.h"

namespace talu {
namespace {

using testing::ElementsAre;

constexpr int kWaitMs = 30'000;

// False when the condition never comes to hold.
bool WaitUntil(const std::function<bool()>& holds) {
  for (const ULONGLONG end = GetTickCount64() + kWaitMs; GetTickCount64() < end; Sleep(2)) {
    if (holds()) return true;
  }
  return false;
}

// Opens the clipboard as soon as nobody else has it.
bool OpenWhenFree(HWND owner) {
  return WaitUntil([&] { return OpenClipboard(owner) != FALSE; });
}

// A window of the test's own, as another program would own the clipboard.
class OwnerWindow {
 public:
  OwnerWindow()
      : handle(CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                               nullptr)) {}
  ~OwnerWindow() { DestroyWindow(handle); }
  OwnerWindow(const OwnerWindow&) = delete;
  OwnerWindow& operator=(const OwnerWindow&) = delete;

  HWND Handle() const { return handle; }

 private:
  const HWND handle;
};

// Puts these bytes on the clipboard in one format, as another program does.
void PutBytes(UINT format, const void* bytes, size_t size) {
  const OwnerWindow owner;
  const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
  std::memcpy(GlobalLock(block), bytes, size);
  GlobalUnlock(block);
  ASSERT_TRUE(OpenWhenFree(owner.Handle()));
  EmptyClipboard();
  EXPECT_NE(SetClipboardData(format, block), nullptr);
  CloseClipboard();
}

void UserCopies(const std::u16string& text) {
  PutBytes(CF_UNICODETEXT, text.c_str(), (text.size() + 1) * sizeof(char16_t));
}

void UserCopiesPicture() {
  BITMAPINFOHEADER picture{};
  picture.biSize = sizeof picture;
  picture.biWidth = 1;
  picture.biHeight = 1;
  picture.biPlanes = 1;
  picture.biBitCount = 32;
  unsigned char bytes[sizeof picture + 4] = {};
  std::memcpy(bytes, &picture, sizeof picture);
  PutBytes(CF_DIB, bytes, sizeof bytes);
}

TEST(ClipboardText, ComesBackAsItWasWritten) {
  const std::string kTexts[] = {"hello", "a\r\nb\nc\t", "剪贴板 und Grüße 😀", "x",
                                std::string(1'000'000, 'y')};
  for (const std::string& text : kTexts) {
    WriteClipboardText(text);
    EXPECT_EQ(ReadClipboardText(), text);
  }
}

TEST(ClipboardText, IsWhatAnotherProgramCopied) {
  UserCopies(u"剪贴板 😀");
  EXPECT_EQ(ReadClipboardText(), "剪贴板 😀");
}

TEST(ClipboardText, EndsAtItsFirstNul) {
  WriteClipboardText(std::string("a\0b", 3));
  EXPECT_EQ(ReadClipboardText(), "a");
}

TEST(ClipboardText, OfBrokenUtf8HasReplacementCharacters) {
  WriteClipboardText(
      "a\xFF"
      "b");
  EXPECT_EQ(ReadClipboardText(),
            "a\xEF\xBF\xBD"
            "b");
}

TEST(ClipboardText, IsEmptyForPicturesAndEmptyTexts) {
  UserCopiesPicture();
  EXPECT_EQ(ReadClipboardText(), "");
  UserCopies(u"");
  EXPECT_EQ(ReadClipboardText(), "");
  WriteClipboardText("text again");
  EXPECT_EQ(ReadClipboardText(), "text again");
}

TEST(ClipboardText, IsKnownAsWrittenUntilAnotherProgramCopies) {
  WriteClipboardText("剪贴板 😀");
  EXPECT_TRUE(HoldsWrittenText());
  EXPECT_EQ(ReadClipboardText(), "剪贴板 😀");
  EXPECT_TRUE(HoldsWrittenText());
  UserCopies(u"剪贴板 😀");
  EXPECT_FALSE(HoldsWrittenText());
  WriteClipboardText("once more");
  EXPECT_TRUE(HoldsWrittenText());
  UserCopiesPicture();
  EXPECT_FALSE(HoldsWrittenText());
}

TEST(ClipboardText, IsNotKnownAsWrittenWhenItComesBackChanged) {
  WriteClipboardText("a");
  WriteClipboardText(std::string("a\0b", 3));
  EXPECT_FALSE(HoldsWrittenText());
  WriteClipboardText("a\xFF");
  EXPECT_FALSE(HoldsWrittenText());
}

TEST(ClipboardText, WithoutATerminatorEndsWithItsBlock) {
  constexpr char16_t kUnits[] = {u'a', u'b', u'c', u'd'};
  PutBytes(CF_UNICODETEXT, kUnits, sizeof kUnits);
  // Windows itself may put a NUL over the last unit.
  EXPECT_EQ(ReadClipboardText().substr(0, 3), "abc");
  EXPECT_LE(ReadClipboardText().size(), 4u);
}

// Another program that has the clipboard open for as long as this lives.
class ClipboardHolder {
 public:
  ClipboardHolder()
      : holder([this] {
          const OwnerWindow owner;
          EXPECT_TRUE(OpenWhenFree(owner.Handle()));
          opened = true;
          while (!done) Sleep(1);
          CloseClipboard();
        }) {
    EXPECT_TRUE(WaitUntil([this] { return opened.load(); }));
  }
  ~ClipboardHolder() {
    done = true;
    holder.join();
  }

 private:
  std::atomic<bool> opened{false};
  std::atomic<bool> done{false};
  std::thread holder;
};

TEST(ClipboardText, StaysWhileAnotherProgramHasTheClipboardOpen) {
  WriteClipboardText("before");
  {
    const ClipboardHolder other;
    WriteClipboardText("lost");
    EXPECT_EQ(ReadClipboardText(), "");
  }
  EXPECT_EQ(ReadClipboardText(), "before");
}

// Several rounds, for on a busy machine the other program's moment can be a long one.
TEST(ClipboardText, IsWrittenWhenAnotherProgramHasTheClipboardOpenForAMoment) {
  bool written = false;
  for (int round = 0; !written && round < 20; ++round) {
    WriteClipboardText("before");
    auto other = std::make_unique<ClipboardHolder>();
    std::thread endOfMoment([&] {
      Sleep(20);
      other.reset();
    });
    WriteClipboardText("after");
    endOfMoment.join();
    written = ReadClipboardText() == "after";
  }
  EXPECT_TRUE(written);
}

HWND WatcherWindow() { return FindWindowExW(HWND_MESSAGE, nullptr, L"TaluHostClipWatch", nullptr); }

bool IsMarkedVisible(HWND window) {
  return (GetWindowLongPtrW(window, GWL_STYLE) & WS_VISIBLE) != 0;
}

// Returns when the watcher has handled every message posted to it until now: the last is one that
// Windows answers with the window's style.
void AwaitPostedMessages() {
  const HWND window = WatcherWindow();
  const bool visible = IsMarkedVisible(window);
  ASSERT_TRUE(PostMessageW(window, WM_SETREDRAW, visible ? FALSE : TRUE, 0));
  EXPECT_TRUE(WaitUntil([&] { return IsMarkedVisible(window) != visible; }));
}

TEST(ClipboardWatcher, TellsOfEveryChange) {
  std::atomic<int> told{0};
  ClipboardWatcher watcher([&] { ++told; });
  watcher.Start();
  // The window is there before it listens.
  ASSERT_TRUE(WaitUntil([&] {
    UserCopies(u"listening");
    return told > 0;
  }));
  for (int change = 1; change <= 3; ++change) {
    // Told at least once: some systems report the emptying and the new data apart.
    const int before = told;
    UserCopies(u"text " + std::u16string(static_cast<size_t>(change), u'x'));
    EXPECT_TRUE(WaitUntil([&] { return told > before; }));
  }
  watcher.Stop();
  EXPECT_EQ(WatcherWindow(), nullptr);
}

TEST(ClipboardWatcher, GoesOnAfterATextThatIsTooLargeForTheMemory) {
  LogCapture log;
  std::atomic<int> told{0};
  ClipboardWatcher watcher([&] {
    if (++told == 1) throw std::bad_alloc();
  });
  watcher.Start();
  EXPECT_TRUE(WaitUntil([&] {
    UserCopies(u"too large");
    return told > 1;
  }));
  watcher.Stop();
  EXPECT_THAT(log.Lines(),
              ElementsAre("[agent] clipboard text does not fit into memory, not sent"));
}

TEST(ClipboardWatcher, MayBeStoppedWithoutOrBeforeAStart) {
  ClipboardWatcher watcher([] {});
  watcher.Stop();
  watcher.Start();
  watcher.Start();
  watcher.Stop();
  watcher.Stop();
}

// Every other stop comes at once, most likely before the window exists, the others when it does.
TEST(ClipboardWatcher, EndsEveryTimeInAThousandStartsAndStops) {
  ClipboardWatcher watcher([] {});
  watcher.Start();
  watcher.Stop();
  DWORD handlesBefore = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
  for (int round = 0; round < 1000; ++round) {
    watcher.Start();
    if (round % 2 == 1) {
      ASSERT_TRUE(WaitUntil([] { return WatcherWindow() != nullptr; }));
    }
    watcher.Stop();
    ASSERT_EQ(WatcherWindow(), nullptr) << round;
  }
  DWORD handlesAfter = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
  EXPECT_LE(handlesAfter, handlesBefore + 20);
}

TEST(ClipboardWatcher, EndsWhileChangesKeepComing) {
  std::atomic<bool> done{false};
  std::thread user([&] {
    for (int count = 0; !done; ++count) {
      WriteClipboardText("text " + std::to_string(count));
    }
  });
  for (int round = 0; round < 50; ++round) {
    ClipboardWatcher watcher([] { ReadClipboardText(); });
    watcher.Start();
    Sleep(static_cast<DWORD>(round % 4));
  }
  done = true;
  user.join();
}

LRESULT CALLBACK RefuseToBeMade(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  return message == WM_NCCREATE ? FALSE : DefWindowProcW(window, message, wparam, lparam);
}

// A class that another part of the process has registered is taken as it is.
TEST(ClipboardWatcher, SaysSoWhenItsWindowCannotBeMade) {
  const HINSTANCE self = GetModuleHandleW(nullptr);
  UnregisterClassW(L"TaluHostClipWatch", self);  // Fails when no earlier test has registered it.
  WNDCLASSW refusing{};
  refusing.lpfnWndProc = RefuseToBeMade;
  refusing.hInstance = self;
  refusing.lpszClassName = L"TaluHostClipWatch";
  ASSERT_NE(RegisterClassW(&refusing), 0);
  {
    LogCapture log;
    ClipboardWatcher watcher([] {});
    watcher.Start();
    EXPECT_TRUE(WaitUntil([&] { return !log.Lines().empty(); }));
    watcher.Stop();
    EXPECT_THAT(log.Lines(), ElementsAre(testing::AllOf(
                                 testing::StartsWith("[agent] 剪贴板监听窗口创建失败(err="),
                                 testing::EndsWith(")，被控→操控剪贴板同步不可用"))));
  }
  EXPECT_TRUE(UnregisterClassW(L"TaluHostClipWatch", self));
}

class ClipboardSyncWinTest : public testing::Test {
 protected:
  ClipboardSyncWinTest() {
    WriteClipboardText("before the test");
    flags.controllerActive = true;
    sync.Start();
    EXPECT_TRUE(WaitUntil([] { return WatcherWindow() != nullptr; }));
    // A change that comes through proves that the watcher listens.
    UserCopiesUntilSent(u"listening");
  }

  void UserCopiesUntilSent(const std::u16string& text) {
    const size_t before = recorder.Messages().size();
    EXPECT_TRUE(WaitUntil([&] {
      UserCopies(text);
      return recorder.Messages().size() > before;
    }));
  }

  void ExpectSent(const std::string& text) {
    const std::string message = "{\"type\":\"clipboard\",\"text\":\"" + text + "\"}";
    EXPECT_TRUE(WaitUntil([&] { return recorder.Messages().back() == message; }))
        << recorder.Messages().back();
  }

  // Copies a marker and waits for it: everything before it has been handled by then, and the marker
  // as well, which some systems tell of more than once.
  size_t SentUntilNow() {
    static int count = 0;
    const std::string marker = "marker " + std::to_string(++count);
    UserCopies(std::u16string(marker.begin(), marker.end()));
    ExpectSent(marker);
    AwaitPostedMessages();
    return recorder.Messages().size();
  }

  SessionFlags flags;
  MessageRecorder recorder;
  ClipboardSync sync{flags, recorder.Session()};
};

TEST_F(ClipboardSyncWinTest, CarriesTextBothWays) {
  UserCopies(u"von hier: 剪贴板 😀\r\nzwei\t\"\\");
  ExpectSent(R"(von hier: 剪贴板 😀\r\nzwei\t\"\\)");
  sync.SetClipboardFromController(R"({"type":"clipboard","text":"von dort: \u526a😀\r\n"})", false);
  EXPECT_EQ(ReadClipboardText(), "von dort: 剪😀\r\n");
}

// The watcher looks at the clipboard after every text; the next one must not get lost for that.
TEST_F(ClipboardSyncWinTest, TakesEveryTextOfAQuickController) {
  for (int count = 0; count < 200; ++count) {
    const std::string text = "text " + std::to_string(count);
    sync.SetClipboardFromController("{\"type\":\"clipboard\",\"text\":\"" + text + "\"}", false);
    ASSERT_EQ(ReadClipboardText(), text);
  }
}

TEST_F(ClipboardSyncWinTest, SendsNoEchoes) {
  const size_t before = SentUntilNow();
  sync.SetClipboardFromController(R"({"type":"clipboard","text":"hello"})", false);
  // The echo, if any, would come before the marker's message.
  EXPECT_EQ(SentUntilNow(), before + 1);
  sync.SetClipboardFromController(R"({"type":"clipboard","text":"hello"})", false);
  UserCopies(u"hello");
  EXPECT_EQ(SentUntilNow(), before + 2);
}

TEST_F(ClipboardSyncWinTest, IgnoresPictures) {
  const size_t before = SentUntilNow();
  UserCopiesPicture();
  EXPECT_EQ(SentUntilNow(), before + 1);
}

TEST_F(ClipboardSyncWinTest, SendsNothingWhileNoControllerIsActive) {
  const size_t before = SentUntilNow();
  flags.controllerActive = false;
  UserCopies(u"secret");
  AwaitPostedMessages();
  flags.controllerActive = true;
  EXPECT_EQ(SentUntilNow(), before + 1);
}

TEST_F(ClipboardSyncWinTest, Sends16384BytesAndRefuses16385) {
  LogCapture log;
  const size_t before = SentUntilNow();
  const std::u16string fits(16384 - 30, u'a');
  UserCopies(fits);
  ExpectSent(std::string(fits.size(), 'a'));
  EXPECT_EQ(recorder.Messages().back().size(), 16384u);
  UserCopies(fits + u"a");
  EXPECT_EQ(SentUntilNow(), before + 2);
  EXPECT_THAT(log.Text(),
              testing::HasSubstr("[agent] clipboard 16385 bytes 超过单条消息上限，跳过同步\n"));
}

TEST_F(ClipboardSyncWinTest, StopsWithItsOwner) {
  sync.Stop();
  const size_t before = recorder.Messages().size();
  UserCopies(u"late");
  EXPECT_EQ(WatcherWindow(), nullptr);
  EXPECT_EQ(recorder.Messages().size(), before);
}

}  // namespace
}  // namespace talu
