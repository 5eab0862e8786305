#include "encoder/verdict_file.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "encoder/fakes/encoder_fixture_win.h"

namespace talu {
namespace {

using VerdictFile = EncoderFixture;

constexpr char kKey[] = "Example Display Adapter|001F000000651196";

// What the file says about kKey: "good", "bad" or "miss".
std::string Load() {
  bool good = false;
  return !LoadEncoderVerdict(kKey, good) ? "miss" : good ? "good" : "bad";
}

TEST_F(VerdictFile, LiesUnderTheLocalApplicationData) {
  EXPECT_EQ(VerdictFilePath(), localData.string() + "\\TALUDesk\\hw_encoder_verdict.txt");
  EXPECT_TRUE(std::filesystem::is_directory(localData / "TALUDesk"));
  EXPECT_EQ(VerdictFilePath(), localData.string() + "\\TALUDesk\\hw_encoder_verdict.txt");
}

TEST_F(VerdictFile, HasNoPlaceWithoutLocalApplicationData) {
  _putenv_s("LOCALAPPDATA", "");
  EXPECT_EQ(VerdictFilePath(), "");
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(Load(), "miss");
}

TEST_F(VerdictFile, CreatesOneLevelOnly) {
  _putenv_s("LOCALAPPDATA", (localData / "missing").string().c_str());
  SaveEncoderVerdict(kKey, true);
  EXPECT_FALSE(std::filesystem::exists(localData / "missing"));
  EXPECT_EQ(Load(), "miss");
  EXPECT_EQ(log->Text(), "");
}

TEST_F(VerdictFile, HoldsExactlyTheseBytes) {
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(VerdictFileBytes(), "Example Display Adapter|001F000000651196\tgood\r\n");
  SaveEncoderVerdict(kKey, false);
  EXPECT_EQ(VerdictFileBytes(), "Example Display Adapter|001F000000651196\tbad\r\n");
}

TEST_F(VerdictFile, HoldsUtf8) {
  SaveEncoderVerdict("示例显卡|0000000000000001", true);
  EXPECT_EQ(VerdictFileBytes(), "示例显卡|0000000000000001\tgood\r\n");
  bool good = false;
  EXPECT_TRUE(LoadEncoderVerdict("示例显卡|0000000000000001", good));
  EXPECT_TRUE(good);
}

TEST_F(VerdictFile, IsReadBack) {
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(Load(), "good");
  SaveEncoderVerdict(kKey, false);
  EXPECT_EQ(Load(), "bad");
}

TEST_F(VerdictFile, RemembersOneAdapterOnly) {
  SaveEncoderVerdict("A much longer name of another adapter|0123456789ABCDEF", true);
  EXPECT_EQ(Load(), "miss");
  SaveEncoderVerdict(kKey, false);
  EXPECT_EQ(Load(), "bad");
  EXPECT_EQ(VerdictFileBytes(), std::string(kKey) + "\tbad\r\n");
}

TEST_F(VerdictFile, IsNeitherReadNorWrittenForAnEmptyKey) {
  WriteVerdictFile("\tgood\r\n");
  SaveEncoderVerdict("", false);
  EXPECT_EQ(VerdictFileBytes(), "\tgood\r\n");
  bool good = false;
  EXPECT_FALSE(LoadEncoderVerdict("", good));
}

TEST_F(VerdictFile, LeavesTheAnswerAloneOnAMiss) {
  bool good = true;
  EXPECT_FALSE(LoadEncoderVerdict(kKey, good));
  EXPECT_TRUE(good);
}

TEST_F(VerdictFile, TakesEitherLineEnd) {
  WriteVerdictFile(std::string(kKey) + "\tgood\n");
  EXPECT_EQ(Load(), "good");
  WriteVerdictFile(std::string(kKey) + "\tgood\r\n");
  EXPECT_EQ(Load(), "good");
}

TEST_F(VerdictFile, IsSafeTruncatedAtEveryLength) {
  const std::string whole = std::string(kKey) + "\tgood\r\n";
  const size_t word = sizeof(kKey);
  for (size_t length = 0; length <= whole.size(); ++length) {
    WriteVerdictFile(whole.substr(0, length));
    // Cut between carriage return and line feed, the word is "good" and one character more.
    const bool good = length == word + 4 || length == whole.size();
    EXPECT_EQ(Load(), length < word ? "miss" : good ? "good" : "bad") << length;
  }
}

TEST_F(VerdictFile, IsSafeWithAnyFirstByte) {
  for (int byte = 0; byte < 256; ++byte) {
    WriteVerdictFile(std::string(1, static_cast<char>(byte)) + kKey + "\tgood\r\n");
    EXPECT_EQ(Load(), "miss") << byte;
  }
}

TEST_F(VerdictFile, IsSafeWhenHuge) {
  const std::string filler(8'000'000, 'x');
  WriteVerdictFile(filler);
  EXPECT_EQ(Load(), "miss");
  WriteVerdictFile(std::string(kKey) + "\t" + filler);
  EXPECT_EQ(Load(), "miss");
  WriteVerdictFile(std::string(kKey) + "\tgood\r\n" + filler);
  EXPECT_EQ(Load(), "good");
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(VerdictFileBytes(), std::string(kKey) + "\tgood\r\n");
}

TEST_F(VerdictFile, IsSafeAsADirectory) {
  std::filesystem::create_directories(localData / "TALUDesk" / "hw_encoder_verdict.txt");
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(Load(), "miss");
}

TEST_F(VerdictFile, IsSafeWhereAFileTakesTheDirectorysPlace) {
  std::ofstream(localData / "TALUDesk") << "in the way";
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(Load(), "miss");
}

TEST_F(VerdictFile, IsLeftAloneWhileAnotherProgramHoldsItForItself) {
  SaveEncoderVerdict(kKey, true);
  const HANDLE holder =
      CreateFileA(VerdictFilePath().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(holder, INVALID_HANDLE_VALUE);
  EXPECT_EQ(Load(), "miss");
  SaveEncoderVerdict(kKey, false);
  CloseHandle(holder);
  EXPECT_EQ(Load(), "good");
  EXPECT_EQ(log->Text(), "");
}

// In the system's code page; empty when that cannot tell it.
std::string AnsiPath(const std::filesystem::path& path) {
  char text[MAX_PATH] = {};
  BOOL lossy = FALSE;
  WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, path.c_str(), -1, text, MAX_PATH, nullptr,
                      &lossy);
  return lossy ? std::string() : std::string(text);
}

TEST_F(VerdictFile, LiesInADirectoryWithAChineseName) {
  const std::filesystem::path chinese = localData / L"用户";
  std::error_code cannot;
  std::filesystem::create_directories(chinese, cannot);
  const std::string ansi = AnsiPath(chinese);
  if (cannot || ansi.empty()) {
    GTEST_SKIP() << "the system's code page has no Chinese";
  }
  _putenv_s("LOCALAPPDATA", ansi.c_str());
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(Load(), "good");
  EXPECT_TRUE(std::filesystem::exists(chinese / "TALUDesk" / "hw_encoder_verdict.txt"));
}

TEST_F(VerdictFile, IsSafeWithAPathTooLong) {
  _putenv_s("LOCALAPPDATA", ("C:\\" + std::string(5000, 'x')).c_str());
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(Load(), "miss");
}

TEST_F(VerdictFile, MayBeOpenElsewhere) {
  SaveEncoderVerdict(kKey, true);
  const HANDLE reader =
      CreateFileA(VerdictFilePath().c_str(), GENERIC_READ | GENERIC_WRITE,
                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  EXPECT_EQ(Load(), "good");
  SaveEncoderVerdict(kKey, false);
  EXPECT_EQ(Load(), "bad");
  CloseHandle(reader);
}

constexpr char kOtherKey[] = "Another, much longer name of a display adapter|0123456789ABCDEF";

void SaveManyVerdicts() {
  for (int round = 0; round < 200; ++round) {
    SaveEncoderVerdict(kKey, true);
    SaveEncoderVerdict(kOtherKey, false);
    SaveEncoderVerdict(kKey, false);
    SaveEncoderVerdict(kOtherKey, true);
  }
}

// The second process of the test below, which starts it.
TEST(VerdictWriter, DISABLED_SavesMany) { SaveManyVerdicts(); }

// This program again, running the writer above. Null when it does not start.
HANDLE StartWriter() {
  char program[MAX_PATH];
  GetModuleFileNameA(nullptr, program, MAX_PATH);
  std::string command = std::string("\"") + program +
                        "\" --gtest_also_run_disabled_tests"
                        " --gtest_filter=VerdictWriter.DISABLED_SavesMany";
  // GoogleTest's mark that this program has not ended yet; the writer would take it away.
  SetEnvironmentVariableA("TEST_PREMATURE_EXIT_FILE", nullptr);
  STARTUPINFOA startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                      &startup, &started)) {
    return nullptr;
  }
  CloseHandle(started.hThread);
  return started.hProcess;
}

// What stands in the file while it is written may end early, where the text before it ended:
// without a tab it is no verdict.
bool IsWholeOrIgnored(const std::string& bytes) {
  const std::string line = bytes.substr(0, bytes.find('\n'));
  const bool ignored = line.find('\t') == std::string::npos;
  return ignored || line == std::string(kKey) + "\tgood\r" ||
         line == std::string(kKey) + "\tbad\r" || line == std::string(kOtherKey) + "\tgood\r" ||
         line == std::string(kOtherKey) + "\tbad\r";
}

TEST_F(VerdictFile, IsWholeOrIgnoredUnderTwoProcessesWritingAtOnce) {
  log.reset();  // The writer inherits stdout.
  const HANDLE writer = StartWriter();
  ASSERT_NE(writer, nullptr);
  int ownRounds = 0;
  while (WaitForSingleObject(writer, 0) == WAIT_TIMEOUT || ownRounds == 0) {
    ++ownRounds;
    SaveEncoderVerdict(kKey, true);
    const std::string bytes = VerdictFileBytes().value_or("");
    EXPECT_TRUE(IsWholeOrIgnored(bytes)) << bytes;
    Load();
    SaveEncoderVerdict(kOtherKey, false);
  }
  DWORD exitCode = 1;
  EXPECT_TRUE(GetExitCodeProcess(writer, &exitCode));
  EXPECT_EQ(exitCode, 0u);
  CloseHandle(writer);
  SaveEncoderVerdict(kKey, true);
  EXPECT_EQ(VerdictFileBytes(), std::string(kKey) + "\tgood\r\n");
}

}  // namespace
}  // namespace talu
