#include "devkit/stage/scene.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace talu {

const char kStageHelp[] =
    R"(Puts windows on the desktop for people and tests to look at and to work with.

Usage: talu_stage --ACTOR KEY=VALUE[,KEY=VALUE]... [--ACTOR ...]

  --solid    one colour:                         colour=RRGGBB
  --moving   changes all over, all the time:     fps=N
  --edit     a text field that is written to a file (UTF-8) at every change:
                                                 file=FILE, text=TEXT to begin with
  --target   changes colour at every press of a button and notes what it gets in a file, one line
             each: "down left X Y", "up right X Y", "wheel -120 X Y", "key 65 down", "char 97"
                                                 file=FILE, colour=RRGGBB
             with times=1 a press says when it came and when the new colour was on the screen, in
             microseconds since 1970 UTC: "down left X Y received T painted T"
  --cursor   shows a cursor of a kind:           cursor=arrow, ibeam, cross, hand, hidden, colour
                                                 or mono; colour=RRGGBB of the window
  --help     this text

Every actor takes x=, y= (desktop coordinates), w=, h=, and title=TEXT for a frame around it.
In values, a comma is written \, and a backslash as it is.

Prints "ready" when all windows are there, and ends when its standard input does.
Buttons are left, right, middle, x1 and x2; X and Y are desktop coordinates.
)";

namespace {

constexpr std::array<std::pair<std::string_view, ActorKind>, 5> kActors{
    {{"--solid", ActorKind::kSolid},
     {"--moving", ActorKind::kMoving},
     {"--edit", ActorKind::kEdit},
     {"--target", ActorKind::kTarget},
     {"--cursor", ActorKind::kCursor}}};
constexpr std::array<std::string_view, 7> kCursors{"arrow",  "ibeam",  "cross", "hand",
                                                   "hidden", "colour", "mono"};
constexpr int kLargestPlace = 32767;

bool ParseNumber(std::string_view text, int low, int high, int& number) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && stop == text.data() + text.size() && number >= low &&
         number <= high;
}

bool ParseColour(std::string_view text, uint32_t& colour) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), colour, 16);
  return error == std::errc() && stop == text.data() + text.size() && text.size() == 6;
}

bool SetKey(std::string_view key, const std::string& value, Actor& actor) {
  if (key == "x") return ParseNumber(value, -kLargestPlace, kLargestPlace, actor.x);
  if (key == "y") return ParseNumber(value, -kLargestPlace, kLargestPlace, actor.y);
  if (key == "w") return ParseNumber(value, 1, kLargestPlace, actor.width);
  if (key == "h") return ParseNumber(value, 1, kLargestPlace, actor.height);
  if (key == "fps") return ParseNumber(value, 1, 240, actor.fps);
  if (key == "colour") return ParseColour(value, actor.colour);
  if (key == "times") {
    actor.times = value == "1";
    return value == "0" || value == "1";
  }
  if (key == "cursor") {
    actor.cursor = value;
    return std::ranges::find(kCursors, value) != kCursors.end();
  }
  if (key == "file") {
    actor.file = value;
  } else if (key == "title") {
    actor.title = value;
  } else if (key == "text") {
    actor.text = value;
  } else {
    return false;
  }
  return true;
}

// Cuts at commas that no backslash precedes.
std::vector<std::string> CutAtCommas(std::string_view text) {
  std::vector<std::string> parts(1);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text.substr(i, 2) == "\\,") {
      parts.back() += ',';
      ++i;
    } else if (text[i] == ',') {
      parts.emplace_back();
    } else {
      parts.back() += text[i];
    }
  }
  return parts;
}

std::string ParseActor(const std::string& text, Actor& actor) {
  for (const std::string& part : CutAtCommas(text)) {
    const size_t equals = part.find('=');
    const std::string value = equals == std::string::npos ? "" : part.substr(equals + 1);
    if (equals == std::string::npos || !SetKey(part.substr(0, equals), value, actor)) {
      return "no setting: '" + part + "'";
    }
  }
  const bool keepsFile = actor.kind == ActorKind::kEdit || actor.kind == ActorKind::kTarget;
  return keepsFile && actor.file.empty() ? "it needs file=" : "";
}

}  // namespace

std::string ParseScene(std::span<const std::string> arguments, Scene& scene) {
  for (size_t i = 0; i < arguments.size(); i += 2) {
    const std::string& name = arguments[i];
    if (name == "--help") {
      scene.help = true;
      return "";
    }
    const auto* kind =
        std::ranges::find(kActors, name, [](const auto& entry) { return entry.first; });
    if (kind == kActors.end()) return "unknown actor " + name;
    if (i + 1 == arguments.size()) return name + " needs its settings";
    Actor actor;
    actor.kind = kind->second;
    const std::string problem = ParseActor(arguments[i + 1], actor);
    if (!problem.empty()) return name + ": " + problem;
    scene.actors.push_back(actor);
  }
  return scene.actors.empty() ? "nothing to show" : "";
}

int Bounce(int64_t step, int range) {
  if (range <= 0) return 0;
  const auto place = static_cast<int>(step % (2 * static_cast<int64_t>(range)));
  return place <= range ? place : 2 * range - place;
}

}  // namespace talu
