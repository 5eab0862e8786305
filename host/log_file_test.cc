#include "host/log_file.h"

#include <gtest/gtest.h>

namespace talu {
namespace {

TEST(LogFilePath, LiesInTheTemporaryDirectory) {
  EXPECT_EQ(LogFilePath("C:\\Temp\\"), "C:\\Temp\\talu_host_log.txt");
}

TEST(LogFilePath, IsTheBareNameWithoutATemporaryDirectory) {
  EXPECT_EQ(LogFilePath(std::nullopt), "talu_host_log.txt");
}

}  // namespace
}  // namespace talu
