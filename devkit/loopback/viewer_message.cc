#include "devkit/loopback/viewer_message.h"

#include <charconv>

#include "devkit/loopback/wire.h"

namespace talu::loopback {
namespace {

// Walks over one flat JSON object.
class FlatReader {
 public:
  explicit FlatReader(std::string_view textToRead) : text(textToRead) {}

  bool Take(char wanted) {
    SkipBlanks();
    if (text.empty() || text.front() != wanted) return false;
    text.remove_prefix(1);
    return true;
  }

  std::optional<std::string_view> TakeString() {
    if (!Take('"')) return std::nullopt;
    const size_t end = text.find('"');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view value = text.substr(0, end);
    if (value.find('\\') != std::string_view::npos) return std::nullopt;
    text.remove_prefix(end + 1);
    return value;
  }

  std::optional<int32_t> TakeInt() {
    SkipBlanks();
    const size_t end = text.find_first_not_of("-0123456789");
    const std::string_view digits = text.substr(0, end);
    const std::optional<int32_t> value = ParseInt32(digits);
    if (value) text.remove_prefix(digits.size());
    return value;
  }

  bool AtEnd() {
    SkipBlanks();
    return text.empty();
  }

 private:
  void SkipBlanks() {
    const size_t start = text.find_first_not_of(" \t\r\n");
    text.remove_prefix(start == std::string_view::npos ? text.size() : start);
  }

  std::string_view text;
};

struct CommandFields {
  std::optional<std::string_view> command;
  std::optional<int32_t> fps;
  std::optional<int32_t> maxKbps;
  std::optional<int32_t> minKbps;
};

template <typename Value>
bool SetOnce(std::optional<Value>* field, std::optional<Value> value) {
  if (field->has_value() || !value) return false;
  *field = value;
  return true;
}

bool TakeField(FlatReader* reader, CommandFields* fields) {
  const std::optional<std::string_view> name = reader->TakeString();
  if (!name || !reader->Take(':')) return false;
  if (*name == "command") return SetOnce(&fields->command, reader->TakeString());
  if (*name == "fps") return SetOnce(&fields->fps, reader->TakeInt());
  if (*name == "max") return SetOnce(&fields->maxKbps, reader->TakeInt());
  if (*name == "min") return SetOnce(&fields->minKbps, reader->TakeInt());
  return false;
}

std::optional<CommandFields> ReadFields(std::string_view text) {
  FlatReader reader(text);
  CommandFields fields;
  if (!reader.Take('{')) return std::nullopt;
  do {
    if (!TakeField(&reader, &fields)) return std::nullopt;
  } while (reader.Take(','));
  if (!reader.Take('}') || !reader.AtEnd()) return std::nullopt;
  return fields;
}

}  // namespace

std::optional<int32_t> ParseInt32(std::string_view text) {
  int32_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::optional<ViewerCommand> ParseViewerCommand(std::string_view text) {
  if (text.size() > kMaxCommandBytes) return std::nullopt;
  const std::optional<CommandFields> fields = ReadFields(text);
  if (!fields || !fields->command) return std::nullopt;
  if (*fields->command == "profile") {
    return ViewerCommand{
        ViewerCommandKind::kProfile,
        {0, 0, fields->fps.value_or(0), fields->maxKbps.value_or(0), fields->minKbps.value_or(0)}};
  }
  if (fields->fps || fields->maxKbps || fields->minKbps) return std::nullopt;
  if (*fields->command == "keyframe") return ViewerCommand{ViewerCommandKind::kKeyframe, {}};
  if (*fields->command == "screen_info") return ViewerCommand{ViewerCommandKind::kScreenInfo, {}};
  return std::nullopt;
}

std::optional<ViewerControl> ParseViewerControl(std::span<const uint8_t> message) {
  if (message.empty()) return std::nullopt;
  if (message[0] == kKindControl) return ViewerControl{kControlLabel, 1};
  if (message[0] != kKindLabelled || message.size() < 2) return std::nullopt;
  const size_t labelBytes = message[1];
  if (message.size() < 2 + labelBytes) return std::nullopt;
  const auto* label = reinterpret_cast<const char*>(message.data() + 2);
  if (std::string_view(label, labelBytes).find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  return ViewerControl{std::string(label, labelBytes), 2 + labelBytes};
}

}  // namespace talu::loopback
