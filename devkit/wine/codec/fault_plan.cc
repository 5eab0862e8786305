#include "devkit/wine/codec/fault_plan.h"

#include <charconv>

namespace talu {
namespace {

constexpr int kLargestNumber = 1'000'000;

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r";
  const size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

std::optional<int> ReadNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (number < 0 || number > kLargestNumber) return std::nullopt;
  return number;
}

struct Switch {
  std::string_view name;
  bool FaultPlan::*field;
};

constexpr Switch kSwitches[] = {
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

bool ApplySwitch(std::string_view name, FaultPlan& plan) {
  if (name == "good") return true;
  for (const Switch& known : kSwitches) {
    if (known.name != name) continue;
    plan.*known.field = true;
    return true;
  }
  return false;
}

bool ApplyNumber(std::string_view name, int number, FaultPlan& plan) {
  if (name == "asks-late") {
    plan.asksLateMs = number;
  } else if (name == "swallows") {
    plan.swallows = number;
  } else if (name == "stops-after") {
    plan.stopsAfter = number;
  } else {
    return false;
  }
  return true;
}

bool ApplyLine(std::string_view line, FaultPlan& plan) {
  const size_t gap = line.find_first_of(" \t");
  if (gap == std::string_view::npos) return ApplySwitch(line, plan);
  const std::optional<int> number = ReadNumber(Trim(line.substr(gap)));
  return number && ApplyNumber(line.substr(0, gap), *number, plan);
}

}  // namespace

FaultPlanResult ParseFaultPlan(std::string_view text) {
  FaultPlanResult result;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const std::string_view line = Trim(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (line.empty() || ApplyLine(line, result.plan)) continue;
    result.error = "not a setting: \"" + std::string(line) + "\"";
    return result;
  }
  return result;
}

}  // namespace talu
