#include "devkit/wine/codec/fault_file.h"

#include <cstdio>
#include <optional>

#include "devkit/wine/codec/environment_path.h"

namespace talu {
namespace {

constexpr DWORD kLargestFileBytes = 4096;

std::optional<std::string> ReadSmallFile(const std::wstring& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return std::nullopt;
  std::string text(kLargestFileBytes, '\0');
  DWORD got = 0;
  const BOOL read = ReadFile(file, text.data(), kLargestFileBytes, &got, nullptr);
  CloseHandle(file);
  if (!read) return std::nullopt;
  text.resize(got);
  return text;
}

void Complain(const std::string& error) {
  const std::string line = "[codec] control file: " + error + "\n";
  std::fputs(line.c_str(), stderr);
}

}  // namespace

FaultFile::FaultFile(const wchar_t* variable, const FaultPlan& otherwise)
    : path(EnvironmentPath(variable)), withoutFile(otherwise), plan(otherwise) {}

void FaultFile::Adopt(const FaultPlan& next) {
  plan = next;
  ++changes;
}

const FaultPlan& FaultFile::Look() {
  if (path.empty()) return plan;
  WIN32_FILE_ATTRIBUTE_DATA found = {};
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &found)) {
    if (!(plan == withoutFile)) Adopt(withoutFile);
    seenTime = {};
    seenSize = 0;
    return plan;
  }
  if (CompareFileTime(&found.ftLastWriteTime, &seenTime) == 0 && found.nFileSizeLow == seenSize) {
    return plan;
  }
  const std::optional<std::string> text = ReadSmallFile(path);
  if (!text || text->empty()) return plan;
  seenTime = found.ftLastWriteTime;
  seenSize = found.nFileSizeLow;
  const FaultPlanResult result = ParseFaultPlan(*text);
  if (result.error.empty()) {
    Adopt(result.plan);
  } else {
    Complain(result.error);
  }
  return plan;
}

}  // namespace talu
