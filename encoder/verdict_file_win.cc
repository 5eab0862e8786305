#include <windows.h>

#include <share.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "encoder/verdict_file.h"
#include "encoder/verdict_line.h"

namespace talu {
namespace {

struct CloseFile {
  // A verdict that could not be written is tested for again at the next start.
  void operator()(FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<FILE, CloseFile>;

FilePointer OpenVerdictFile(const char* mode) {
  return FilePointer(_fsopen(VerdictFilePath().c_str(), mode, _SH_DENYNO));
}

}  // namespace

std::string VerdictFilePath() {
  const char* localData = std::getenv("LOCALAPPDATA");
  if (localData == nullptr || *localData == '\0') {
    return {};
  }
  const std::string directory = std::string(localData) + "\\TALUDesk";
  CreateDirectoryA(directory.c_str(), nullptr);  // Without it the file does not open.
  return directory + "\\hw_encoder_verdict.txt";
}

bool LoadEncoderVerdict(const std::string& key, bool& good) {
  if (key.empty()) {
    return false;
  }
  const FilePointer file = OpenVerdictFile("rt");
  if (file == nullptr) {
    return false;
  }
  // Enough to tell a line that is too long; the rest of the file is nobody's concern.
  std::array<char, kLongestVerdictLine + 1> start;
  const size_t length = std::fread(start.data(), 1, start.size(), file.get());
  return ParseVerdict({start.data(), length}, key, good);
}

void SaveEncoderVerdict(const std::string& key, bool good) {
  if (key.empty()) {
    return;
  }
  const FilePointer file = OpenVerdictFile("wt");
  if (file == nullptr) {
    return;
  }
  const std::string line = FormatVerdictLine(key, good);
  std::fwrite(line.data(), 1, line.size(), file.get());
}

}  // namespace talu
