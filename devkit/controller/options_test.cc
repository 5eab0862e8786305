#include "devkit/controller/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talu::controller {
namespace {

using testing::HasSubstr;

std::string ComplaintAbout(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--url", "u"});
  std::string complaint;
  return ParseOptions(arguments, &complaint) ? "(none)" : complaint;
}

TEST(ControllerOptions, ReadsEveryOption) {
  std::string complaint;
  const auto options = ParseOptions(
      {"--url",    "u",         "--fps",     "24",      "--max",     "3000",     "--min",  "-5",
       "--frames", "7",         "--seconds", "1.5",     "--until",   "bye",      "--save", "x.h264",
       "--stdin",  "--verbose", "--quiet",   "--stats", "{\"a\":1}", "/keyframe"},
      &complaint);
  ASSERT_TRUE(options) << complaint;
  EXPECT_EQ(options->url, "u");
  EXPECT_EQ(options->wishes.fps, 24);
  EXPECT_EQ(options->wishes.maxKbps, 3000);
  EXPECT_EQ(options->wishes.minKbps, -5);
  EXPECT_EQ(options->frames, 7);
  EXPECT_EQ(options->seconds, 1.5);
  EXPECT_EQ(options->until, "bye");
  EXPECT_EQ(options->saveFile, "x.h264");
  EXPECT_TRUE(options->readStdin && options->verbose && options->quiet && options->statistics);
  EXPECT_EQ(options->lines, (std::vector<std::string>{"{\"a\":1}", "/keyframe"}));
}

TEST(ControllerOptions, HelpNeedsNothingElse) {
  std::string complaint;
  const auto options = ParseOptions({"--help"}, &complaint);
  ASSERT_TRUE(options);
  EXPECT_TRUE(options->help);
}

TEST(ControllerOptions, EveryOptionStandsInTheHelp) {
  for (const char* name :
       {"--url", "--url-file", "--control", "--fps", "--max", "--min", "--stdin", "--quiet",
        "--verbose", "--save", "--stats", "--frames", "--until", "--seconds"}) {
    EXPECT_THAT(HelpText(), HasSubstr(name));
  }
}

TEST(ControllerOptions, NamesWhatIsWrong) {
  EXPECT_EQ(ComplaintAbout({"--fast"}), "unknown option --fast");
  EXPECT_EQ(ComplaintAbout({"--fps"}), "no usable value for --fps");
  EXPECT_EQ(ComplaintAbout({"--fps", "3x"}), "no usable value for --fps");
  EXPECT_EQ(ComplaintAbout({"--frames", "0"}), "no usable value for --frames");
  EXPECT_EQ(ComplaintAbout({"--seconds", "nan"}), "no usable value for --seconds");
  EXPECT_EQ(ComplaintAbout({"--url-file", "f"}), "give --url or --url-file");
  EXPECT_EQ(ComplaintAbout({"--control", "--save", "f"}), "with --control there is no video");
  EXPECT_EQ(ComplaintAbout({"/jump"}), "cannot understand the line /jump");
}

TEST(ControllerOptions, NeedsAnAddress) {
  std::string complaint;
  EXPECT_FALSE(ParseOptions({}, &complaint));
  EXPECT_EQ(complaint, "give --url or --url-file");
}

}  // namespace
}  // namespace talu::controller
