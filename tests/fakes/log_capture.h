// What the log writes during a test (library log_capture).
//
// For its scope, stdout's descriptor leads to a temporary file, so everything that any thread of
// the process writes to stdout lands there, by LogPrintf or otherwise. One at a time, made and
// destroyed by the test's thread; the reading functions may be called meanwhile, by any thread.
// When the test has failed by the end of the scope, what was captured is written to the real
// stdout, GoogleTest's own messages among it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace talu {

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // All that was written so far, line ends as single line feeds.
  std::string Text() const;

  // The same as it stands in the file.
  std::string Bytes() const;

  // The finished lines so far, without their line feeds.
  std::vector<std::string> Lines() const;

 private:
  std::filesystem::path file;
  int realStdout = -1;
};

}  // namespace talu
