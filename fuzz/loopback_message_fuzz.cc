// What viewers say to the loopback library, and its fault file. An input is read as a command, as a
// binary message and as faults.
#include <span>
#include <string>

#include "devkit/loopback/faults.h"
#include "devkit/loopback/viewer_message.h"
#include "devkit/loopback/wire.h"
#include "fuzz/checks.h"

namespace talu::loopback {
namespace {

std::string CommandText(const ViewerCommand& command) {
  switch (command.kind) {
    case ViewerCommandKind::kProfile:
      return "{\"command\":\"profile\",\"fps\":" + std::to_string(command.profile.fps) +
             ",\"max\":" + std::to_string(command.profile.maxKbps) +
             ",\"min\":" + std::to_string(command.profile.minKbps) + "}";
    case ViewerCommandKind::kKeyframe:
      return "{\"command\":\"keyframe\"}";
    case ViewerCommandKind::kScreenInfo:
      return "{\"command\":\"screen_info\"}";
  }
  return "";
}

void CheckCommand(std::string_view text) {
  const std::optional<ViewerCommand> command = ParseViewerCommand(text);
  if (!command) return;
  const std::optional<ViewerCommand> again = ParseViewerCommand(CommandText(*command));
  Check(again && again->kind == command->kind && again->profile.fps == command->profile.fps &&
            again->profile.maxKbps == command->profile.maxKbps &&
            again->profile.minKbps == command->profile.minKbps,
        "a command written out again means the same");
}

void CheckControl(std::span<const uint8_t> message) {
  const std::optional<ViewerControl> control = ParseViewerControl(message);
  if (!control) return;
  Check(control->bodyOffset <= message.size(), "the body lies in the message");
  const std::string_view body = TextOf(message.data(), message.size()).substr(control->bodyOffset);
  const std::optional<Bytes> again = BuildViewerLabelledMessage(control->label, body);
  Check(again.has_value(), "every label that comes in can go out");
  const std::optional<ViewerControl> reread = ParseViewerControl(*again);
  Check(reread && reread->label == control->label &&
            TextOf(again->data(), again->size()).substr(reread->bodyOffset) == body,
        "a message written out again means the same");
}

void CheckVideo(std::span<const uint8_t> message) {
  const std::optional<VideoHeader> header = ReadVideoHeader(message);
  if (!header) return;
  const Payload again = BuildVideoMessage(*header, message.subspan(kVideoHeaderBytes));
  Check(again->size() == message.size(), "a picture keeps its size");
}

}  // namespace
}  // namespace talu::loopback

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  using namespace talu::loopback;
  CheckCommand(talu::TextOf(bytes, size));
  CheckControl({bytes, size});
  CheckVideo({bytes, size});
  std::string complaint;
  talu::Check(ParseFaults(talu::TextOf(bytes, size), &complaint).has_value() == complaint.empty(),
              "exactly a refused fault file has a complaint");
  return 0;
}
