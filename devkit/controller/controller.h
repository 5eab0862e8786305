// One run of the command-line controller: connect, do the lines, print, end.
//
// Lives on the main thread; AddLine, EndOfLines and Interrupt come from others.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "devkit/controller/options.h"
#include "devkit/controller/script_line.h"
#include "devkit/controller/stream_client.h"
#include "devkit/controller/stream_statistics.h"

namespace talu::controller {

class Controller {
 public:
  // print takes one line without its end; complain one for standard error.
  Controller(Options runOptions, std::function<void(const std::string&)> printLine,
             std::function<void(const std::string&)> complainLine);

  ExitCode Run();

  // A line of standard input, without its end. Any thread.
  void AddLine(std::string line);
  void EndOfLines();
  // Ends the run as if its work were done. Any thread and signal handlers.
  void Interrupt() { interrupted = true; }

 private:
  using Clock = std::chrono::steady_clock;

  std::optional<StreamAddress> FindAddress();
  bool Connect(ExitCode* exitCode);
  ExitCode Loop();
  std::optional<ExitCode> DoLines();
  bool DoAction(const Action& action);
  bool TakeLine(std::string* line);
  bool LinesAreDone();
  bool HasEndCondition() const;
  bool IsTimeOver() const;
  int64_t WaitMs() const;
  std::optional<ExitCode> Handle(const ReceivedMessage& message);
  bool HandleVideo(const ReceivedMessage& message);
  void Show(const std::string& line);

  const Options options;
  const std::function<void(const std::string&)> print;
  const std::function<void(const std::string&)> complain;

  StreamClient client;
  StreamStatistics statistics;
  std::ofstream save;
  Clock::time_point start;
  // The text that the lines wait for, and until when they sleep.
  std::string awaited;
  Clock::time_point sleepEnd;
  bool untilSeen = false;

  std::mutex lock;
  std::deque<std::string> lines;
  bool moreLines;
  std::atomic<bool> interrupted{false};
};

}  // namespace talu::controller
