#include "devkit/controller/script_line.h"

#include <charconv>
#include <utility>

#include "devkit/loopback/wire.h"

namespace talu::controller {
namespace {

constexpr int64_t kLongestSleepMs = 24LL * 3600 * 1000;

std::string_view TakeWord(std::string_view* rest) {
  const size_t end = rest->find(' ');
  const std::string_view word = rest->substr(0, end);
  rest->remove_prefix(end == std::string_view::npos ? rest->size() : end + 1);
  return word;
}

template <typename Number>
std::optional<Number> ReadNumber(std::string_view text) {
  Number value{};
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || stop != text.data() + text.size()) return std::nullopt;
  return value;
}

Action SendText(std::string text) { return {ActionKind::kSendText, std::move(text), {}, 0}; }

Action SendBinary(std::vector<uint8_t> bytes) {
  return {ActionKind::kSendBinary, {}, std::move(bytes), 0};
}

std::optional<Action> ParseProfile(std::string_view rest) {
  std::string text = "{\"command\":\"profile\"";
  for (const char* name : {",\"fps\":", ",\"max\":", ",\"min\":"}) {
    const std::optional<int32_t> value = ReadNumber<int32_t>(TakeWord(&rest));
    if (!value) return std::nullopt;
    text += name;
    text += std::to_string(*value);
  }
  if (!rest.empty()) return std::nullopt;
  return SendText(text + '}');
}

std::optional<Action> ParseHex(std::string_view digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string body;
  for (size_t i = 0; i < digits.size(); i += 2) {
    unsigned value = 0;
    const char* end = digits.data() + i + 2;
    const auto [stop, error] = std::from_chars(digits.data() + i, end, value, 16);
    if (error != std::errc() || stop != end) return std::nullopt;
    body += static_cast<char>(value);
  }
  return SendBinary(loopback::BuildViewerControlMessage(body));
}

std::optional<Action> ParseLabel(std::string_view rest) {
  const std::string_view label = TakeWord(&rest);
  std::optional<loopback::Bytes> message = loopback::BuildViewerLabelledMessage(label, rest);
  if (!message) return std::nullopt;
  return SendBinary(std::move(*message));
}

std::optional<Action> ParseSleep(std::string_view rest) {
  const std::optional<int64_t> ms = ReadNumber<int64_t>(rest);
  if (!ms || *ms < 0 || *ms > kLongestSleepMs) return std::nullopt;
  return Action{ActionKind::kSleep, {}, {}, *ms};
}

std::optional<Action> ParseSlashLine(std::string_view line) {
  std::string_view rest = line;
  const std::string_view name = TakeWord(&rest);
  if (name == "/send") return SendBinary(loopback::BuildViewerControlMessage(rest));
  if (name == "/label") return ParseLabel(rest);
  if (name == "/hex") return ParseHex(rest);
  if (name == "/profile") return ParseProfile(rest);
  if (name == "/command") return SendText(std::string(rest));
  if (name == "/sleep") return ParseSleep(rest);
  if (name == "/until" && !rest.empty()) {
    return Action{ActionKind::kWaitForText, std::string(rest), {}, 0};
  }
  if (!rest.empty()) return std::nullopt;
  if (name == "/keyframe") return SendText("{\"command\":\"keyframe\"}");
  if (name == "/screen_info") return SendText("{\"command\":\"screen_info\"}");
  return std::nullopt;
}

}  // namespace

std::optional<Action> ParseScriptLine(std::string_view line, std::string* complaint) {
  if (!line.starts_with('/')) return SendBinary(loopback::BuildViewerControlMessage(line));
  std::optional<Action> action = ParseSlashLine(line);
  if (!action) *complaint = "cannot understand the line " + std::string(line);
  return action;
}

}  // namespace talu::controller
