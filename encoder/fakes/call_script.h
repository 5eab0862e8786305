// What was called, in order, and which calls shall fail.
//
// One per test, shared by all fakes of it; any thread. A call is noted as its name and, after a
// space, whatever tells it from others: "sw.SetOutputType H264 640x480".
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace talu {

class CallScript {
 public:
  static constexpr int32_t kOk = 0;

  // Notes a call and returns its scripted result.
  int32_t Called(const std::string& name, const std::string& details = {});

  // The occurrence-th call of that name from now on (1 is the next) returns result.
  void Fail(const std::string& name, int occurrence, int32_t result);
  // Every call of that name returns result from now on; kOk ends it.
  void FailAlways(const std::string& name, int32_t result);

  // Runs hook within every call of that name, before it returns.
  void OnCall(const std::string& name, std::function<void()> hook);

  // The calls so far, or those whose name begins with prefix.
  std::vector<std::string> Calls(const std::string& prefix = {}) const;
  int Count(const std::string& name) const;
  // Every name with the number of its calls.
  std::map<std::string, int> Counts() const;
  // Forgets the calls so far; the scripted failures stay.
  void Clear();

 private:
  int32_t Answer(const std::string& name, const std::string& details);

  mutable std::mutex lock;
  std::vector<std::string> calls;
  std::map<std::string, int> total;
  std::map<std::pair<std::string, int>, int32_t> failures;
  std::map<std::string, int32_t> standing;
  std::map<std::string, std::function<void()>> hooks;
};

}  // namespace talu
