#include "host/options.h"

#include <gtest/gtest.h>

#include <vector>

namespace talu {
namespace {

constexpr int64_t kNowMs = 1'700'000'000'000;

HostConfig Parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "talu_host.exe");
  return ParseOptions(static_cast<int>(arguments.size()), arguments.data(), kNowMs);
}

TEST(ParseOptions, TakesTheSixOptions) {
  const HostConfig config =
      Parse({"--app-id", "7", "--instance-id", "A", "--token", "B", "--access-info", "C",
             "--expired-at", "123456789012", "--force-software", "1"});
  EXPECT_EQ(config.app_id, 7);
  EXPECT_EQ(config.instance_id, "A");
  EXPECT_EQ(config.token, "B");
  EXPECT_EQ(config.access_info, "C");
  EXPECT_EQ(config.expired_at_ms, 123456789012);
  EXPECT_TRUE(config.force_software);
}

TEST(ParseOptions, RunsWithTheRequiredOptionsAloneForTwoHours) {
  const HostConfig config = Parse({"--instance-id", "A", "--token", "B", "--access-info", "C"});
  EXPECT_TRUE(HasRequiredOptions(config));
  EXPECT_EQ(config.app_id, 0);
  EXPECT_EQ(config.expired_at_ms, kNowMs + 7'200'000);
  EXPECT_FALSE(config.force_software);
}

TEST(ParseOptions, SkipsUnknownArgumentsSilently) {
  const HostConfig config =
      Parse({"x", "--instance-id", "A", "--what", "--token", "B", "--access-info", "C"});
  EXPECT_TRUE(HasRequiredOptions(config));
  EXPECT_EQ(config.instance_id, "A");
  EXPECT_EQ(config.token, "B");
}

TEST(ParseOptions, LooksAtNothingWithTwoArgumentsOrFewer) {
  EXPECT_FALSE(HasRequiredOptions(Parse({})));
  EXPECT_EQ(Parse({"--app-id"}).app_id, 0);
  const char* const none[] = {"talu_host.exe"};
  EXPECT_EQ(ParseOptions(0, none, kNowMs).expired_at_ms, kNowMs + kDefaultValidityMs);
}

TEST(ParseOptions, TakesAnOptionNameThatStandsFirst) {
  EXPECT_EQ(Parse({"--app-id", "5"}).app_id, 5);
}

TEST(ParseOptions, IgnoresANameInTheLastPosition) {
  EXPECT_FALSE(Parse({"--instance-id", "A", "--force-software"}).force_software);
  EXPECT_EQ(Parse({"--instance-id", "A", "--token"}).token, "");
}

TEST(ParseOptions, TakesAnotherOptionsNameAsAValue) {
  const HostConfig config = Parse({"--instance-id", "--token", "B"});
  EXPECT_EQ(config.instance_id, "--token");
  EXPECT_EQ(config.token, "B");
}

TEST(ParseOptions, ReadsTheFirstOccurrenceOnly) {
  EXPECT_EQ(Parse({"--token", "first", "--token", "second"}).token, "first");
}

TEST(ParseOptions, ComparesNamesExactly) {
  EXPECT_EQ(Parse({"--Token", "B", "--token=x", "C"}).token, "");
}

TEST(ParseOptions, ForcesSoftwareForTheTextOneOnly) {
  EXPECT_TRUE(Parse({"--force-software", "1"}).force_software);
  for (const char* other : {"true", "yes", "01", "", "1 ", "0"}) {
    EXPECT_FALSE(Parse({"--force-software", other}).force_software) << other;
  }
}

TEST(ParseOptions, ReadsTextThatIsNoNumberAsZero) {
  EXPECT_EQ(Parse({"--app-id", "abc"}).app_id, 0);
  EXPECT_EQ(Parse({"--expired-at", "soon"}).expired_at_ms, 0);
  EXPECT_EQ(Parse({"--app-id", "-12x"}).app_id, -12);
}

TEST(HasRequiredOptions, CountsAnEmptyValueAsMissing) {
  EXPECT_FALSE(
      HasRequiredOptions(Parse({"--instance-id", "A", "--token", "", "--access-info", "C"})));
  EXPECT_FALSE(HasRequiredOptions(Parse({"--instance-id", "A", "--token", "B"})));
  EXPECT_FALSE(HasRequiredOptions(Parse({"--token", "B", "--access-info", "C"})));
}

}  // namespace
}  // namespace talu
