// What the command line says: the identity and credentials of one cloud instance.
#pragma once

#include <cstdint>
#include <string>

namespace talu {

// Owned by main for the life of the process.
struct HostConfig {
  int32_t app_id = 0;
  std::string instance_id;
  std::string token;
  std::string access_info;
  int64_t expired_at_ms = 0;  // milliseconds since 1970-01-01 UTC
  bool force_software = false;
};

}  // namespace talu
