#include "encoder/fakes/call_script.h"

namespace talu {

int32_t CallScript::Called(const std::string& name, const std::string& details) {
  const int32_t result = Answer(name, details);
  std::function<void()> hook;
  {
    const std::scoped_lock held(lock);
    const auto found = hooks.find(name);
    if (found != hooks.end()) {
      hook = found->second;
    }
  }
  if (hook) {
    hook();
  }
  return result;
}

int32_t CallScript::Answer(const std::string& name, const std::string& details) {
  const std::scoped_lock held(lock);
  calls.push_back(details.empty() ? name : name + " " + details);
  const int occurrence = ++total[name];
  if (const auto found = failures.find({name, occurrence}); found != failures.end()) {
    return found->second;
  }
  const auto found = standing.find(name);
  return found == standing.end() ? kOk : found->second;
}

void CallScript::Fail(const std::string& name, int occurrence, int32_t result) {
  const std::scoped_lock held(lock);
  failures[{name, total[name] + occurrence}] = result;
}

void CallScript::FailAlways(const std::string& name, int32_t result) {
  const std::scoped_lock held(lock);
  standing[name] = result;
}

void CallScript::OnCall(const std::string& name, std::function<void()> hook) {
  const std::scoped_lock held(lock);
  hooks[name] = std::move(hook);
}

std::vector<std::string> CallScript::Calls(const std::string& prefix) const {
  const std::scoped_lock held(lock);
  std::vector<std::string> found;
  for (const std::string& call : calls) {
    if (call.compare(0, prefix.size(), prefix) == 0) {
      found.push_back(call);
    }
  }
  return found;
}

int CallScript::Count(const std::string& name) const {
  const std::scoped_lock held(lock);
  const auto found = total.find(name);
  return found == total.end() ? 0 : found->second;
}

std::map<std::string, int> CallScript::Counts() const {
  const std::scoped_lock held(lock);
  return total;
}

void CallScript::Clear() {
  const std::scoped_lock held(lock);
  calls.clear();
}

}  // namespace talu
