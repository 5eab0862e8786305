// The controller's command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "devkit/controller/stream_client.h"

namespace talu::controller {

// What the program ends with; scripts rely on them.
enum ExitCode : int {
  kExitDone = 0,
  // No connection, refused, or lost before the work was done.
  kExitNoConnection = 1,
  kExitUsage = 2,
  // --seconds were over before --frames, --until or a line's /until were reached.
  kExitTimeOver = 3,
  kExitCannotWrite = 4,
};

struct Options {
  bool help = false;
  std::string url;
  std::string urlFile;
  StreamWishes wishes;
  // What to do, one after the other; the lines of standard input follow if readStdin is set.
  std::vector<std::string> lines;
  bool readStdin = false;
  std::string saveFile;
  bool verbose = false;
  bool quiet = false;
  bool statistics = false;
  // End conditions; 0 and empty: none.
  int64_t frames = 0;
  double seconds = 0;
  std::string until;
};

// Nothing with a complaint when the arguments (without the program's name) cannot be understood.
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments,
                                    std::string* complaint);

const char* HelpText();

}  // namespace talu::controller
