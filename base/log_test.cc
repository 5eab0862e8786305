#include "base/log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

TEST(LogPrintf, WritesTheFormattedText) {
  LogCapture log;
  LogPrintf("[agent] %s %d 0x%08lX %lld\n", "已切换", -3, 0x80004005ul, 1234567890123ll);
  EXPECT_EQ(log.Text(), "[agent] 已切换 -3 0x80004005 1234567890123\n");
}

TEST(LogPrintf, WritesALineLongerThanAnyBufferWhole) {
  LogCapture log;
  const std::string longText(100'000, 'x');
  LogPrintf("[agent] %s\n", longText.c_str());
  EXPECT_EQ(log.Text(), "[agent] " + longText + "\n");
}

TEST(LogPrintf, WritesALineAtTheEdgeOfTheShortBufferWhole) {
  for (const size_t length : {1022u, 1023u, 1024u, 1025u}) {
    LogCapture log;
    const std::string text(length - 1, 'y');
    LogPrintf("%s\n", text.c_str());
    EXPECT_EQ(log.Text(), text + "\n");
  }
}

TEST(LogPrintf, NeverMixesTheLinesOfSeveralThreads) {
  constexpr int kThreads = 8;
  constexpr int kLines = 300;
  std::vector<std::string> lines;
  {
    LogCapture log;
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
      threads.emplace_back([number] {
        const std::string text(200 + static_cast<size_t>(number) * 300,
                               static_cast<char>('a' + number));
        for (int line = 0; line < kLines; ++line) {
          LogPrintf("%s\n", text.c_str());
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    lines = log.Lines();
  }
  EXPECT_EQ(lines.size(), static_cast<size_t>(kThreads * kLines));
  for (const std::string& line : lines) {
    ASSERT_FALSE(line.empty());
    EXPECT_EQ(line, std::string(200 + static_cast<size_t>(line[0] - 'a') * 300, line[0]));
  }
}

}  // namespace
}  // namespace talu
