#include <windows.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "host/log_file.h"

namespace talu {
namespace {

// A temporary directory of its own, and stdout as it was before at the end.
class OpenedLogFile : public testing::Test {
 protected:
  OpenedLogFile()
      : directory(std::filesystem::temp_directory_path() /
                  ("talu_log_file_" + std::to_string(GetCurrentProcessId()))),
        realStdout(dup(_fileno(stdout))) {
    std::filesystem::create_directories(directory);
    SetEnvironmentVariableW(L"TMP", directory.c_str());
  }

  ~OpenedLogFile() override {
    dup2(realStdout, _fileno(stdout));
    close(realStdout);
    // The C runtime's copy is still the one before.
    SetEnvironmentVariableA("TMP", std::getenv("TMP"));
    std::error_code ignored;  // What is left in the temporary directory harms nothing.
    std::filesystem::remove_all(directory, ignored);
  }

  std::string Bytes() const {
    std::ifstream in(Path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  std::filesystem::path Path() const { return directory / "talu_host_log.txt"; }

 private:
  const std::filesystem::path directory;
  const int realStdout;
};

TEST_F(OpenedLogFile, HoldsNothingOfTheStartBefore) {
  std::ofstream(Path()) << "[host] an earlier start\n";
  OpenLogFile();
  EXPECT_EQ(Bytes(), "");
}

TEST_F(OpenedLogFile, HoldsAtOnceWhatIsWritten) {
  OpenLogFile();
  std::fputs("[host] half a", stdout);
  EXPECT_EQ(Bytes(), "[host] half a");
}

}  // namespace
}  // namespace talu
