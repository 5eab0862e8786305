#include "host/options.h"

#include <cstdlib>
#include <cstring>

namespace talu {
namespace {

// The value after the option's first occurrence; fallback when there is none. With two arguments or
// fewer nothing is looked at.
const char* FindOption(int argumentCount, const char* const* arguments, const char* name,
                       const char* fallback) {
  for (int value = 2; value < argumentCount; ++value) {
    if (std::strcmp(arguments[value - 1], name) == 0) {
      return arguments[value];
    }
  }
  return fallback;
}

}  // namespace

HostConfig ParseOptions(int argumentCount, const char* const* arguments, int64_t nowMs) {
  const auto option = [&](const char* name, const char* fallback) {
    return FindOption(argumentCount, arguments, name, fallback);
  };
  HostConfig config;
  config.app_id = std::atoi(option("--app-id", "0"));
  config.instance_id = option("--instance-id", "");
  config.token = option("--token", "");
  config.access_info = option("--access-info", "");
  const char* expiry = option("--expired-at", nullptr);
  config.expired_at_ms = expiry == nullptr ? nowMs + kDefaultValidityMs : std::atoll(expiry);
  config.force_software = std::strcmp(option("--force-software", ""), "1") == 0;
  return config;
}

bool HasRequiredOptions(const HostConfig& config) {
  return !config.instance_id.empty() && !config.token.empty() && !config.access_info.empty();
}

}  // namespace talu
