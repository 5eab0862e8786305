// What a viewer may say, read strictly: one byte or letter out of place and there is no message.
// The bytes come from outside. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/sdk_records.h"

namespace talu::loopback {

enum class ViewerCommandKind { kProfile, kKeyframe, kScreenInfo };

struct ViewerCommand {
  ViewerCommandKind kind;
  // Of kProfile; what was not given is 0. Width and height are always 0.
  SdkStreamRequest profile;
};

// A longer text is no command.
constexpr size_t kMaxCommandBytes = 4096;

// {"command":"profile","fps":30,"max":8000,"min":2000}, {"command":"keyframe"} or
// {"command":"screen_info"}: one flat object of these fields, each at most once, in any order, with
// JSON white space anywhere between them; no escapes, numbers are signed 32-bit integers.
std::optional<ViewerCommand> ParseViewerCommand(std::string_view text);

struct ViewerControl {
  std::string label;
  // Where the body begins in the message; it reaches to the message's end.
  size_t bodyOffset;
};

// A binary message of kind 2 or 3. A label with a NUL in it cannot be handed on and is refused.
std::optional<ViewerControl> ParseViewerControl(std::span<const uint8_t> message);

// A whole signed 32-bit decimal number without blanks or a plus sign.
std::optional<int32_t> ParseInt32(std::string_view text);

}  // namespace talu::loopback
