#include "tests/fakes/log_capture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace talu {
namespace {

constexpr int kStdoutDescriptor = 1;

std::filesystem::path FreshFile() {
  static std::atomic<int> count{0};
  const std::string name =
      "talu_log_capture_" + std::to_string(getpid()) + "_" + std::to_string(++count) + ".txt";
  return std::filesystem::temp_directory_path() / name;
}

// A test without its log would prove nothing, so it ends here.
void Require(bool worked, const char* what) {
  if (!worked) {
    std::perror(what);
    std::abort();
  }
}

}  // namespace

LogCapture::LogCapture() : file(FreshFile()) {
  std::fflush(stdout);
  realStdout = dup(kStdoutDescriptor);
  Require(realStdout >= 0, "log capture: keep stdout");
  const int opened = open(file.string().c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_APPEND, 0600);
  Require(opened >= 0, "log capture: temporary file");
  Require(dup2(opened, kStdoutDescriptor) >= 0, "log capture: redirect stdout");
  close(opened);
}

LogCapture::~LogCapture() {
  std::fflush(stdout);
  Require(dup2(realStdout, kStdoutDescriptor) >= 0, "log capture: restore stdout");
  close(realStdout);
  if (testing::Test::HasFailure()) {
    std::printf("---- captured log\n%s---- end of captured log\n", Text().c_str());
    std::fflush(stdout);
  }
  std::error_code ignored;  // A file left in the temporary directory harms nothing.
  std::filesystem::remove(file, ignored);
}

std::string LogCapture::Bytes() const {
  std::fflush(stdout);
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string LogCapture::Text() const {
  std::string text = Bytes();
  std::erase(text, '\r');
  return text;
}

std::vector<std::string> LogCapture::Lines() const {
  std::vector<std::string> lines;
  const std::string text = Text();
  size_t start = 0;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

}  // namespace talu
