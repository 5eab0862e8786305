#include "devkit/wine/codec/fault_plan.h"

#include <gtest/gtest.h>

namespace talu {
namespace {

TEST(ParseFaultPlan, GoodAndNothingChangeNothing) {
  for (const char* text : {"", "\n\n", "good", "good\n", " good \r\n"}) {
    const FaultPlanResult result = ParseFaultPlan(text);
    EXPECT_EQ(result.error, "") << text;
    EXPECT_EQ(result.plan, FaultPlan()) << text;
  }
}

TEST(ParseFaultPlan, ReadsEverySwitch) {
  const struct {
    const char* name;
    bool FaultPlan::*field;
  } cases[] = {
      {"absent", &FaultPlan::absent},
      {"activation-fails", &FaultPlan::activationFails},
      {"init-fails", &FaultPlan::initFails},
      {"no-codec-api", &FaultPlan::noCodecApi},
      {"refuses-output-type", &FaultPlan::refusesOutputType},
      {"never-asks", &FaultPlan::neverAsks},
      {"refuses-input", &FaultPlan::refusesInput},
      {"no-output", &FaultPlan::noOutput},
      {"provides-samples", &FaultPlan::providesSamples},
      {"prompt", &FaultPlan::prompt},
      {"stream-change", &FaultPlan::streamChange},
  };
  for (const auto& one : cases) {
    FaultPlan expected;
    expected.*one.field = true;
    const FaultPlanResult result = ParseFaultPlan(one.name);
    EXPECT_EQ(result.error, "") << one.name;
    EXPECT_EQ(result.plan, expected) << one.name;
  }
}

TEST(ParseFaultPlan, ReadsNumbers) {
  const FaultPlanResult result = ParseFaultPlan("asks-late 250\nswallows\t3\nstops-after 0\n");
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.plan.asksLateMs, 250);
  EXPECT_EQ(result.plan.swallows, 3);
  EXPECT_EQ(result.plan.stopsAfter, 0);
}

TEST(ParseFaultPlan, TakesSeveralSettings) {
  const FaultPlanResult result = ParseFaultPlan("provides-samples\r\nstops-after 30\r\n");
  EXPECT_EQ(result.error, "");
  EXPECT_TRUE(result.plan.providesSamples);
  EXPECT_EQ(result.plan.stopsAfter, 30);
}

TEST(ParseFaultPlan, NamesTheLineThatIsNoSetting) {
  for (const char* line : {"never-ask", "stops-after", "stops-after -1", "stops-after 3x",
                           "swallows 99999999999", "good 1", "asks-late 1000001"}) {
    EXPECT_EQ(ParseFaultPlan(std::string("good\n") + line + "\n").error,
              "not a setting: \"" + std::string(line) + "\"");
  }
}

}  // namespace
}  // namespace talu
