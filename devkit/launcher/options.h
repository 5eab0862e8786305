// The launcher's own command line: what it sets for the host, how long it waits, how it stops it.
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

namespace talu {

// What the launcher does to make the host end.
enum class StopWay { kCloseInput, kCtrlC };

struct LauncherOptions {
  bool help = false;
  // Empty fields leave the environment as it is.
  std::string tempDirectory;
  std::string localAppData;
  std::string urlFile;
  std::vector<std::pair<std::string, std::string>> environment;
  // Loaded by the host's process before it begins; none where empty.
  std::string loadedLibrary;
  int readySeconds = 120;
  int stopSeconds = 60;
  StopWay stopWay = StopWay::kCloseInput;
  // The host's path and its own arguments, all UTF-8.
  std::vector<std::string> host;
};

// What --help prints.
extern const char kLauncherHelp[];

// Reads the arguments after the program's name. Returns what is wrong with them as a sentence for
// the user, or nothing; options is unfinished in the first case.
std::string ParseLauncherOptions(std::span<const std::string> arguments, LauncherOptions& options);

}  // namespace talu
