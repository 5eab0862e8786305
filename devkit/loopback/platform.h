// The few things that differ between systems.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace talu::loopback {

// An environment variable in UTF-8, nothing when it is not set or empty.
std::optional<std::string> ReadEnvironment(const char* name);

// The folder of the module that this code is in.
std::filesystem::path ModuleFolder();

// Microseconds since 1970 UTC.
int64_t UnixTimeUs();

// From UTF-8.
std::filesystem::path PathFromUtf8(const std::string& text);

}  // namespace talu::loopback
