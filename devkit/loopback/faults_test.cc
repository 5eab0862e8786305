#include "devkit/loopback/faults.h"

#include <gtest/gtest.h>

#include <fstream>

namespace talu::loopback {
namespace {

TEST(ParseFaults, ReadsEveryLine) {
  std::string complaint;
  const auto plan = ParseFaults(
      "# comment\n\n init-fails 1\r\ncreate-fails 2\nsend-fails 3 4\nmessage-fails 5 6\n"
      "screen-fails 7 8\nsend-takes 9\n",
      &complaint);
  ASSERT_TRUE(plan) << complaint;
  EXPECT_EQ(plan->failures.at(Call::kInit).code, 1);
  EXPECT_LT(plan->failures.at(Call::kInit).remaining, 0);
  EXPECT_EQ(plan->failures.at(Call::kSendVideo).remaining, 3);
  EXPECT_EQ(plan->failures.at(Call::kSendVideo).code, 4);
  EXPECT_EQ(plan->failures.at(Call::kSetScreen).code, 8);
  EXPECT_EQ(plan->videoDelayMs, 9);
}

TEST(ParseFaults, NamesTheLineThatItCannotUnderstand) {
  for (const char* line :
       {"fails 1", "init-fails", "init-fails 0", "init-fails x", "init-fails 1 2", "send-fails 1",
        "send-fails -1 2", "send-takes -1", "send-takes 60001"}) {
    std::string complaint;
    EXPECT_FALSE(ParseFaults("create-fails 1\n" + std::string(line), &complaint)) << line;
    EXPECT_EQ(complaint, "fault file: cannot understand '" + std::string(line) + "'");
  }
}

TEST(Faults, CountsAndStartsAnewWithAChangedFile) {
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() /
      ("faults_" + std::to_string(reinterpret_cast<uintptr_t>(&file)));
  std::ofstream(file, std::ios::binary) << "send-fails 2 7\n";
  Faults faults(file);
  EXPECT_EQ(faults.Take(Call::kSendVideo).code, 7);
  EXPECT_EQ(faults.Take(Call::kSendMessage).code, 0);
  EXPECT_EQ(faults.Take(Call::kSendVideo).code, 7);
  EXPECT_EQ(faults.Take(Call::kSendVideo).code, 0);
  std::ofstream(file, std::ios::binary) << "send-fails 1 8\nsend-takes 5";
  EXPECT_EQ(faults.Take(Call::kSendVideo).code, 8);
  EXPECT_EQ(faults.Take(Call::kSendVideo).delayMs, 5);
  std::ofstream(file, std::ios::binary) << "oops";
  EXPECT_NE(faults.Take(Call::kSendVideo).complaint, "");
  EXPECT_EQ(faults.Take(Call::kSendVideo).complaint, "") << "told once";
  std::filesystem::remove(file);
  EXPECT_EQ(faults.Take(Call::kSendVideo).complaint, "");
}

TEST(Faults, WithoutAFileThereAreNone) {
  Faults faults(std::nullopt);
  EXPECT_EQ(faults.Take(Call::kInit).code, 0);
}

}  // namespace
}  // namespace talu::loopback
