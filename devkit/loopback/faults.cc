#include "devkit/loopback/faults.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

namespace talu::loopback {
namespace {

constexpr int64_t kWithoutEnd = -1;
constexpr int64_t kLongestDelayMs = 60'000;

bool ReadFault(std::istringstream* words, const std::string& name, FaultPlan* plan) {
  FaultPlan::Failure failure{kWithoutEnd, 0};
  if (name == "send-takes") {
    return bool(*words >> plan->videoDelayMs) && plan->videoDelayMs >= 0 &&
           plan->videoDelayMs <= kLongestDelayMs;
  }
  Call call;
  if (name == "init-fails") {
    call = Call::kInit;
  } else if (name == "create-fails") {
    call = Call::kCreate;
  } else if (name == "send-fails") {
    call = Call::kSendVideo;
  } else if (name == "message-fails") {
    call = Call::kSendMessage;
  } else if (name == "screen-fails") {
    call = Call::kSetScreen;
  } else {
    return false;
  }
  const bool hasCount = call != Call::kInit && call != Call::kCreate;
  if (hasCount && !(*words >> failure.remaining && failure.remaining >= 0)) return false;
  if (!(*words >> failure.code) || failure.code == 0) return false;
  plan->failures[call] = failure;
  return true;
}

}  // namespace

std::optional<FaultPlan> ParseFaults(std::string_view text, std::string* complaint) {
  std::istringstream lines{std::string(text)};
  FaultPlan plan;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    if (!(words >> name) || name.starts_with('#')) continue;
    std::string excess;
    if (!ReadFault(&words, name, &plan) || words >> excess) {
      *complaint = "fault file: cannot understand '" + line + "'";
      return std::nullopt;
    }
  }
  return plan;
}

Faults::Faults(std::optional<std::filesystem::path> faultFile) : file(std::move(faultFile)) {}

Faults::Verdict Faults::Take(Call call) {
  if (!file) return {};
  const std::lock_guard guard(lock);
  Verdict verdict;
  Reload(&verdict.complaint);
  if (call == Call::kSendVideo) verdict.delayMs = plan.videoDelayMs;
  const auto found = plan.failures.find(call);
  if (found == plan.failures.end() || found->second.remaining == 0) return verdict;
  if (found->second.remaining > 0) --found->second.remaining;
  verdict.code = found->second.code;
  return verdict;
}

// A file that is not there holds no faults.
void Faults::Reload(std::string* complaint) {
  std::ifstream stream(*file, std::ios::binary);
  std::string now(std::istreambuf_iterator<char>(stream), {});
  if (now == text) return;
  plan = ParseFaults(now, complaint).value_or(FaultPlan{});
  text = std::move(now);
}

}  // namespace talu::loopback
