#include "devkit/loopback/viewer_files.h"

#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace talu::loopback {
namespace {

constexpr uintmax_t kMaxFileBytes = 16u << 20;

const char* ContentTypeOf(const std::filesystem::path& file) {
  static constexpr std::pair<std::string_view, const char*> kTypes[] = {
      {".html", "text/html; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"},
      {".mjs", "text/javascript; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},
      {".json", "application/json"},
      {".svg", "image/svg+xml"},
      {".png", "image/png"},
      {".ico", "image/x-icon"},
      {".txt", "text/plain; charset=utf-8"},
  };
  const auto extension = file.extension().u8string();
  const std::string_view name(reinterpret_cast<const char*>(extension.data()), extension.size());
  for (const auto& [ending, type] : kTypes) {
    if (name == ending) return type;
  }
  return "application/octet-stream";
}

std::optional<std::filesystem::path> FindFile(const std::filesystem::path& folder,
                                              std::string_view path) {
  std::error_code error;
  std::filesystem::recursive_directory_iterator entry(folder, error);
  const std::filesystem::recursive_directory_iterator end;
  for (; !error && entry != end; entry.increment(error)) {
    const auto name = entry->path().lexically_relative(folder).generic_u8string();
    if (path != std::string_view(reinterpret_cast<const char*>(name.data()), name.size())) continue;
    std::error_code failure;
    if (!entry->is_regular_file(failure) || entry->file_size(failure) > kMaxFileBytes || failure) {
      return std::nullopt;
    }
    return entry->path();
  }
  return std::nullopt;
}

}  // namespace

std::optional<ViewerFile> ReadViewerFile(const std::filesystem::path& folder,
                                         std::string_view path) {
  const std::optional<std::filesystem::path> file = FindFile(folder, path);
  if (!file) return std::nullopt;
  std::ifstream stream(*file, std::ios::binary);
  if (!stream) return std::nullopt;
  return ViewerFile{std::string(std::istreambuf_iterator<char>(stream), {}), ContentTypeOf(*file)};
}

}  // namespace talu::loopback
