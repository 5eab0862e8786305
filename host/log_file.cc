#include "host/log_file.h"

namespace talu {

std::string LogFilePath(std::optional<std::string_view> temporaryDirectory) {
  return std::string(temporaryDirectory.value_or("")) + kLogFileName;
}

}  // namespace talu
