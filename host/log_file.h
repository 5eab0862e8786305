// Where the log goes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace talu {

constexpr char kLogFileName[] = "talu_host_log.txt";

// The log's path in the temporary directory (which ends in a backslash); without one the bare name,
// in the working directory.
std::string LogFilePath(std::optional<std::string_view> temporaryDirectory);

// Points stdout, unbuffered, at the log file, which is truncated. A file that cannot be opened
// leaves the process without a log, and running.
void OpenLogFile();

}  // namespace talu
