// One thing for the controller to do, as a line says it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talu::controller {

enum class ActionKind { kSendText, kSendBinary, kWaitForText, kSleep };

struct Action {
  ActionKind kind;
  // Of kSendText and kWaitForText.
  std::string text;
  // Of kSendBinary: a whole message.
  std::vector<uint8_t> bytes;
  int64_t ms = 0;
};

// Nothing with a complaint for a line that cannot be understood. The help text lists the forms.
std::optional<Action> ParseScriptLine(std::string_view line, std::string* complaint);

}  // namespace talu::controller
