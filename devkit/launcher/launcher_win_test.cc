// The launcher as a whole, against a program that stands in for the host.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "devkit/launcher/command_text.h"

namespace talu {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

// Generous: a loaded machine takes seconds to start a process.
constexpr DWORD kPatienceMs = 60'000;

std::filesystem::path Folder() {
  std::array<wchar_t, MAX_PATH> path{};
  GetModuleFileNameW(nullptr, path.data(), path.size());
  return std::filesystem::path(path.data()).parent_path();
}

std::string TestHost() { return (Folder() / "launcher_test_host.exe").string(); }

// Gathers what a pipe delivers, on a thread of its own, until the pipe's other end closes.
class PipeText {
 public:
  PipeText() {
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    CreatePipe(&reading, &writing, &inheritable, 0);
    SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
    InitializeCriticalSection(&lock);
  }
  ~PipeText() {
    CloseWriting();
    if (thread != nullptr) {
      WaitForSingleObject(thread, kPatienceMs);
      CloseHandle(thread);
    }
    CloseHandle(reading);
    DeleteCriticalSection(&lock);
  }

  HANDLE Writing() const { return writing; }
  void CloseWriting() {
    if (writing != nullptr) CloseHandle(writing);
    writing = nullptr;
  }
  void Start() { thread = CreateThread(nullptr, 0, Read, this, 0, nullptr); }
  bool WaitForEnd() const { return WaitForSingleObject(thread, kPatienceMs) == WAIT_OBJECT_0; }

  std::string Text() {
    EnterCriticalSection(&lock);
    std::string copy = text;
    LeaveCriticalSection(&lock);
    return copy;
  }

  bool WaitFor(const std::string& part) {
    const ULONGLONG end = GetTickCount64() + kPatienceMs;
    while (Text().find(part) == std::string::npos) {
      if (GetTickCount64() > end) return false;
      Sleep(5);
    }
    return true;
  }

 private:
  static DWORD WINAPI Read(void* self) {
    auto& pipe = *static_cast<PipeText*>(self);
    std::array<char, 512> buffer{};
    DWORD count = 0;
    while (ReadFile(pipe.reading, buffer.data(), buffer.size(), &count, nullptr) && count > 0) {
      EnterCriticalSection(&pipe.lock);
      pipe.text.append(buffer.data(), count);
      LeaveCriticalSection(&pipe.lock);
    }
    return 0;
  }

  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  HANDLE thread = nullptr;
  CRITICAL_SECTION lock{};
  std::string text;
};

class LauncherTest : public ::testing::Test {
 protected:
  ~LauncherTest() override {
    CloseInput();
    if (process == nullptr) return;
    if (WaitForSingleObject(process, 0) != WAIT_OBJECT_0) TerminateProcess(process, 1);
    CloseHandle(process);
  }

  void Start(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), (Folder().parent_path() / "talu_launcher.exe").string());
    std::string commandLine = JoinArguments(arguments);
    HANDLE childInput = nullptr;
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    ASSERT_TRUE(CreatePipe(&childInput, &input, &inheritable, 0));
    ASSERT_TRUE(SetHandleInformation(input, HANDLE_FLAG_INHERIT, 0));
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = childInput;
    startup.hStdOutput = output.Writing();
    startup.hStdError = errors.Writing();
    PROCESS_INFORMATION started{};
    ASSERT_TRUE(CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                               nullptr, &startup, &started))
        << GetLastError();
    CloseHandle(started.hThread);
    process = started.hProcess;
    CloseHandle(childInput);
    output.CloseWriting();
    errors.CloseWriting();
    output.Start();
    errors.Start();
  }

  void CloseInput() {
    if (input != nullptr) CloseHandle(input);
    input = nullptr;
  }

  // The launcher's exit code once everything that it wrote has been read.
  DWORD ExitCode() {
    EXPECT_EQ(WaitForSingleObject(process, kPatienceMs), WAIT_OBJECT_0);
    EXPECT_TRUE(output.WaitForEnd());
    EXPECT_TRUE(errors.WaitForEnd());
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    return code;
  }

  PipeText output;
  PipeText errors;

 private:
  HANDLE input = nullptr;
  HANDLE process = nullptr;
};

TEST_F(LauncherTest, TheEndOfItsInputEndsTheHostsInput) {
  Start({TestHost(), "run"});
  ASSERT_TRUE(output.WaitFor("ready\n"));
  CloseInput();
  EXPECT_EQ(ExitCode(), 0u);
  EXPECT_THAT(errors.Text(), AllOf(HasSubstr("[host] READY"), HasSubstr("input ended")));
  EXPECT_THAT(output.Text(), HasSubstr("exit=0\n"));
}

TEST_F(LauncherTest, TellsWhereTheLogIsBeforeAnythingElse) {
  Start({"--temp", "Z:\\tmp", TestHost(), "run"});
  CloseInput();
  EXPECT_EQ(ExitCode(), 0u);
  EXPECT_THAT(output.Text(), StartsWith("log=Z:\\tmp\\talu_host_log.txt\n"));
}

TEST_F(LauncherTest, TellsTheViewersAddressBeforeReady) {
  Start({TestHost(), "run-url"});
  ASSERT_TRUE(output.WaitFor("ready\n"));
  EXPECT_THAT(output.Text(), HasSubstr("viewer=http://127.0.0.1:1/?token=t\nready\n"));
  CloseInput();
  EXPECT_EQ(ExitCode(), 0u);
}

TEST_F(LauncherTest, ForwardsTheHostsExitCode) {
  Start({TestHost(), "run-9"});
  CloseInput();
  EXPECT_EQ(ExitCode(), 9u);
  EXPECT_THAT(output.Text(), HasSubstr("exit=9\n"));
}

TEST_F(LauncherTest, AFailedStartEndsWithTheHost) {
  Start({TestHost(), "fail"});
  EXPECT_EQ(ExitCode(), 1u);
  EXPECT_THAT(output.Text(), HasSubstr("failed\nexit=1\n"));
}

TEST_F(LauncherTest, AHostThatSaysNothingLeavesStandardErrorEmpty) {
  Start({TestHost(), "quiet"});
  EXPECT_EQ(ExitCode(), 2u);
  EXPECT_THAT(errors.Text(), IsEmpty());
  EXPECT_THAT(output.Text(), Not(HasSubstr("ready")));
}

TEST_F(LauncherTest, AHostThatDoesNotStopIsKilledAfterItsTime) {
  Start({"--stop-timeout", "1", TestHost(), "stuck"});
  ASSERT_TRUE(output.WaitFor("ready\n"));
  CloseInput();
  EXPECT_EQ(ExitCode(), 66u);
  EXPECT_THAT(errors.Text(), HasSubstr("it is killed"));
}

TEST_F(LauncherTest, AHostThatGivesNoVerdictIsStopped) {
  Start({"--ready-timeout", "1", "--stop-timeout", "1", TestHost(), "mute"});
  EXPECT_EQ(ExitCode(), 66u);
  EXPECT_THAT(errors.Text(), HasSubstr("no verdict"));
}

TEST_F(LauncherTest, SetsTheHostsEnvironmentAndPassesItsArgumentsUnchanged) {
  Start({"--temp", "Z:\\tmp", "--local-appdata", "Z:\\usr", "--env", "EXTRA=a b", TestHost(),
         "show", "", "a b", "q\"q", "end\\", "--temp", "\\\\x \\"});
  EXPECT_EQ(ExitCode(), 0u);
  EXPECT_THAT(errors.Text(), HasSubstr("TMP=Z:\\tmp\r\nTEMP=Z:\\tmp\r\nLOCALAPPDATA=Z:\\usr\r\n"
                                       "EXTRA=a b\r\n<>\r\n<a b>\r\n<q\"q>\r\n<end\\>\r\n"
                                       "<--temp>\r\n<\\\\x \\>\r\n"));
}

TEST_F(LauncherTest, CanStopTheHostWithCtrlC) {
  Start({"--stop-with", "ctrl-c", TestHost(), "run"});
  ASSERT_TRUE(output.WaitFor("ready\n"));
  CloseInput();
  EXPECT_EQ(ExitCode(), 0u);
  EXPECT_THAT(errors.Text(), AllOf(HasSubstr("control 0"), Not(HasSubstr("input ended"))));
}

TEST_F(LauncherTest, ComplainsAboutAProgramThatIsNotThere) {
  Start({"Z:\\no\\such\\host.exe"});
  EXPECT_EQ(ExitCode(), 65u);
  EXPECT_THAT(errors.Text(), HasSubstr("host.exe"));
}

TEST_F(LauncherTest, AHostThatCannotLoadItsLibraryIsNotBegun) {
  Start({"--load", "Z:\\no\\such\\library.dll", TestHost(), "run"});
  EXPECT_EQ(ExitCode(), 65u);
  EXPECT_THAT(errors.Text(), AllOf(HasSubstr("library.dll"), Not(HasSubstr("READY"))));
}

TEST_F(LauncherTest, ComplainsAboutACommandLineItDoesNotUnderstand) {
  Start({"--nonsense", "x"});
  EXPECT_EQ(ExitCode(), 64u);
  EXPECT_THAT(errors.Text(), HasSubstr("--nonsense"));
}

TEST_F(LauncherTest, HelpNamesEveryLineItPrints) {
  Start({"--help"});
  EXPECT_EQ(ExitCode(), 0u);
  EXPECT_THAT(output.Text(), AllOf(HasSubstr("viewer="), HasSubstr("exit="), HasSubstr("66")));
}

}  // namespace
}  // namespace talu
