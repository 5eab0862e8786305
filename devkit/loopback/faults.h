// Faults that a test of the host asks the library for, in the file named by TCAR_LOOPBACK_FAULTS.
//
// One fault per line; the file is looked at before every call, and a changed text starts anew:
//   init-fails CODE         every tcar_global_init
//   create-fails CODE       every tcar_session_create
//   send-fails COUNT CODE   the next COUNT videos
//   message-fails COUNT CODE  the next COUNT custom messages
//   screen-fails COUNT CODE   the next COUNT screen infos
//   send-takes MS           every video
// Empty lines and lines that begin with # are skipped. Any thread may ask.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace talu::loopback {

enum class Call { kInit, kCreate, kSendVideo, kSendMessage, kSetScreen };

// The faults of one text, taken one by one.
struct FaultPlan {
  struct Failure {
    // Negative: without end.
    int64_t remaining = 0;
    int32_t code = 0;
  };
  std::map<Call, Failure> failures;
  int64_t videoDelayMs = 0;
};

// Nothing when a line cannot be understood; complaint then names it.
std::optional<FaultPlan> ParseFaults(std::string_view text, std::string* complaint);

class Faults {
 public:
  // Without a file there are no faults.
  explicit Faults(std::optional<std::filesystem::path> faultFile);

  struct Verdict {
    int32_t code = 0;
    int64_t delayMs = 0;
    // Not empty when the file holds a line that cannot be understood; reported once per text.
    std::string complaint;
  };
  Verdict Take(Call call);

 private:
  void Reload(std::string* complaint);

  const std::optional<std::filesystem::path> file;
  std::mutex lock;
  std::string text;
  FaultPlan plan;
};

}  // namespace talu::loopback
