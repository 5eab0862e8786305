#include <dlfcn.h>

#include <chrono>
#include <cstdlib>

#include "devkit/loopback/platform.h"

namespace talu::loopback {

std::optional<std::string> ReadEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

std::filesystem::path ModuleFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&ModuleFolder), &info) == 0) return {};
  return std::filesystem::path(info.dli_fname).parent_path();
}

int64_t UnixTimeUs() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::filesystem::path PathFromUtf8(const std::string& text) { return text; }

}  // namespace talu::loopback
