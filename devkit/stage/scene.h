// What talu_stage puts on the desktop, as its command line tells it.
//
// Each actor is one window: "--NAME key=value,key=value...". Places are desktop coordinates, so
// negative ones lie on monitors left of or above the primary one.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace talu {

enum class ActorKind { kSolid, kMoving, kEdit, kTarget, kCursor };

struct Actor {
  ActorKind kind = ActorKind::kSolid;
  int x = 0;
  int y = 0;
  int width = 200;
  int height = 200;
  // 0xRRGGBB.
  uint32_t colour = 0xff0000;
  // Pictures per second of a moving actor, 1 to 240.
  int fps = 60;
  // Whether a target notes when it got a press and when it had painted itself anew.
  bool times = false;
  // Where an edit actor keeps its text, and a target its log.
  std::string file;
  // Empty = no frame around the window.
  std::string title;
  // Of a cursor actor: arrow, ibeam, cross, hand, hidden, colour or mono.
  std::string cursor = "arrow";
  // Text that an edit actor begins with.
  std::string text;
};

struct Scene {
  bool help = false;
  std::vector<Actor> actors;
};

// What --help prints.
extern const char kStageHelp[];

// Reads the arguments after the program's name. Returns what is wrong with them as a sentence for
// the user, or nothing; scene is unfinished in the first case.
std::string ParseScene(std::span<const std::string> arguments, Scene& scene);

// Where something that bounces between 0 and range is after step steps; range 0 stays at 0.
int Bounce(int64_t step, int range);

}  // namespace talu
