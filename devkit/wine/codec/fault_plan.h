// What is to go wrong in a transform: the settings that a control file can hold.
//
// One setting a line, in any number: a transform that provides its samples and stops after 30
// pictures is "provides-samples" and "stops-after 30". The header of each transform says which of
// them it heeds; the others mean nothing to it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace talu {

struct FaultPlan {
  bool absent = false;             // "absent": no transform can be made
  bool activationFails = false;    // "activation-fails": the first one listed cannot be made
  bool initFails = false;          // "init-fails": none can be made, although there is one
  bool noCodecApi = false;         // "no-codec-api"
  bool refusesOutputType = false;  // "refuses-output-type"
  bool neverAsks = false;          // "never-asks": no request for input, ever
  bool refusesInput = false;       // "refuses-input": asks, and then does not take the picture
  bool noOutput = false;           // "no-output": takes pictures and gives nothing
  bool providesSamples = false;    // "provides-samples": allocates its output samples itself
  bool prompt = false;             // "prompt": taking a picture lasts until its unit can be fetched
  bool streamChange = false;      // "stream-change": the next output is a change of the output type
  int asksLateMs = 0;             // "asks-late MS": each request comes this much later
  int swallows = 0;               // "swallows N": the next N pictures give nothing
  std::optional<int> stopsAfter;  // "stops-after N": no request after N more pictures

  bool operator==(const FaultPlan&) const = default;
};

// Reads a control file's text; "good" and blank lines change nothing. On failure the error names
// the line at fault and the plan is not to be used.
struct FaultPlanResult {
  FaultPlan plan;
  std::string error;  // empty when the text was good
};
FaultPlanResult ParseFaultPlan(std::string_view text);

}  // namespace talu
