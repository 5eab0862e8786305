#include "host/run_state.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <thread>

namespace talu {
namespace {

// Standard input as a pipe that the test writes to, for one scope.
class PipedStdin {
 public:
  PipedStdin() : realStdin(dup(STDIN_FILENO)) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    writeEnd = ends[1];
    std::clearerr(stdin);
  }
  ~PipedStdin() {
    Close();
    dup2(realStdin, STDIN_FILENO);
    close(realStdin);
  }
  void Write(const std::string& text) {
    EXPECT_EQ(write(writeEnd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void Close() {
    if (writeEnd >= 0) close(writeEnd);
    writeEnd = -1;
  }

 private:
  int realStdin;
  int writeEnd = -1;
};

TEST(StdinWatcher, StopsTheRunAtTheEndOfInput) {
  g_running.store(true);
  PipedStdin input;
  std::thread watcher(StdinWatcher);
  input.Close();
  watcher.join();
  EXPECT_FALSE(g_running.load());
}

TEST(StdinWatcher, TakesNoNoticeOfWhatIsWritten) {
  g_running.store(true);
  PipedStdin input;
  std::thread watcher(StdinWatcher);
  input.Write("stop\n" + std::string(1000, 'x') + "\nquit\n");
  EXPECT_TRUE(g_running.load());
  input.Close();
  watcher.join();
  EXPECT_FALSE(g_running.load());
}

TEST(StdinWatcher, EndsAfterTheLineThatFollowsAStop) {
  g_running.store(false);
  PipedStdin input;
  std::thread watcher(StdinWatcher);
  watcher.join();
}

TEST(WaitWhileRunning, ReturnsAtOnceWhenTheRunHasBeenStopped) {
  g_running.store(false);
  WaitWhileRunning();
}

TEST(WaitWhileRunning, ReturnsWhenTheRunIsStopped) {
  g_running.store(true);
  std::thread stopper([] { g_running.store(false); });
  WaitWhileRunning();
  stopper.join();
  EXPECT_FALSE(g_running.load());
}

}  // namespace
}  // namespace talu
