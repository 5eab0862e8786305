#include "devkit/launcher/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talu {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

std::string Parse(std::vector<std::string> arguments, LauncherOptions& options) {
  options = {};
  return ParseLauncherOptions(arguments, options);
}

TEST(LauncherOptions, EverythingAfterTheOwnOptionsIsTheHostsCommand) {
  LauncherOptions options;
  EXPECT_THAT(Parse({"--temp", "T", "host.exe", "--token", "--temp"}, options), IsEmpty());
  EXPECT_EQ(options.tempDirectory, "T");
  EXPECT_THAT(options.host, ElementsAre("host.exe", "--token", "--temp"));
}

TEST(LauncherOptions, TwoDashesEndTheOwnOptions) {
  LauncherOptions options;
  EXPECT_THAT(Parse({"--", "--host.exe", "--help"}, options), IsEmpty());
  EXPECT_THAT(options.host, ElementsAre("--host.exe", "--help"));
  EXPECT_FALSE(options.help);
}

TEST(LauncherOptions, EveryOptionReachesItsField) {
  LauncherOptions options;
  EXPECT_THAT(Parse({"--local-appdata", "L", "--url-file", "U", "--env", "A=1", "--env", "B=x=y",
                     "--env", "C=", "--load", "D", "--ready-timeout", "7", "--stop-timeout", "8",
                     "--stop-with", "ctrl-c", "h"},
                    options),
              IsEmpty());
  EXPECT_EQ(options.localAppData, "L");
  EXPECT_EQ(options.urlFile, "U");
  EXPECT_THAT(options.environment, ElementsAre(Pair("A", "1"), Pair("B", "x=y"), Pair("C", "")));
  EXPECT_EQ(options.loadedLibrary, "D");
  EXPECT_EQ(options.readySeconds, 7);
  EXPECT_EQ(options.stopSeconds, 8);
  EXPECT_EQ(options.stopWay, StopWay::kCtrlC);
}

TEST(LauncherOptions, WhatIsWrongIsSaid) {
  LauncherOptions options;
  EXPECT_THAT(Parse({}, options), HasSubstr("which host"));
  EXPECT_THAT(Parse({"--temp", "T"}, options), HasSubstr("which host"));
  EXPECT_THAT(Parse({"--tmp", "T", "h"}, options), HasSubstr("--tmp"));
  EXPECT_THAT(Parse({"--temp"}, options), HasSubstr("--temp needs a value"));
  EXPECT_THAT(Parse({"--env", "A", "h"}, options), HasSubstr("'A'"));
  EXPECT_THAT(Parse({"--env", "=A", "h"}, options), HasSubstr("'=A'"));
  EXPECT_THAT(Parse({"--stop-with", "signal", "h"}, options), HasSubstr("'signal'"));
  for (const char* seconds : {"0", "-1", "1s", "", "99999999999999999999"}) {
    EXPECT_THAT(Parse({"--stop-timeout", seconds, "h"}, options), HasSubstr("--stop-timeout"))
        << seconds;
  }
}

TEST(LauncherOptions, HelpNeedsNoHost) {
  LauncherOptions options;
  EXPECT_THAT(Parse({"--temp", "T", "--help"}, options), IsEmpty());
  EXPECT_TRUE(options.help);
}

}  // namespace
}  // namespace talu
