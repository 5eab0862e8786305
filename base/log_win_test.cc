#include <gtest/gtest.h>

#include "base/log.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

TEST(LogPrintf, EndsLinesAsTextFilesOnWindowsDo) {
  LogCapture log;
  LogPrintf("[agent] one\n[agent] two\n");
  EXPECT_EQ(log.Bytes(), "[agent] one\r\n[agent] two\r\n");
}

}  // namespace
}  // namespace talu
