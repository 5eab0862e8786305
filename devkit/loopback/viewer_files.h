// The viewer page's files, read from its folder at every request so that an edited page shows at
// the next reload. Network thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace talu::loopback {

struct ViewerFile {
  std::string content;
  const char* contentType;
};

// path is relative with '/' between folders. Only what a walk over the folder finds is ever opened,
// so no path leads out of it or to a device. Nothing for a missing file or one above 16 MiB.
std::optional<ViewerFile> ReadViewerFile(const std::filesystem::path& folder,
                                         std::string_view path);

}  // namespace talu::loopback
