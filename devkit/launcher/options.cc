#include "devkit/launcher/options.h"

#include <charconv>

namespace talu {

const char kLauncherHelp[] =
    R"(Starts the host as its parent does, reports what becomes of it, and stops it.

Usage: talu_launcher [OPTION VALUE]... [--] HOST.exe [HOST'S OPTION]...

  --temp DIR            the host's temporary directory (TMP and TEMP); its log goes there
  --local-appdata DIR   where the host keeps its encoder verdict (LOCALAPPDATA)
  --url-file FILE       where the loopback library leaves the viewer's address
  --env NAME=VALUE      one more variable for the host; may be given again
  --load DLL            a library that the host's process loads before it begins
  --ready-timeout S     seconds to wait for the host's verdict on its start (120)
  --stop-timeout S      seconds to wait for its end before it is killed (60)
  --stop-with WAY       what tells the host to stop: input (its input is closed; the default)
                        or ctrl-c
  --help                this text

Standard output gets one line per event, for programs to read:
  log=FILE              where the host writes its log
  pid=N                 the host's process
  viewer=URL            the page that shows the desktop, where the loopback library serves one
  ready | failed        the host's verdict on its start
  exit=CODE             how the host ended
Standard error gets the host's standard error, byte for byte, and the launcher's own complaints.

The host is stopped when the launcher's standard input ends, or on Ctrl+C, Ctrl+Break or a closed
console. The launcher ends with the host's exit code, or with 64 for a command line that it does
not understand, 65 when the host could not be started, 66 when the host had to be killed.
)";

namespace {

bool ParseSeconds(const std::string& text, int& seconds) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, seconds);
  return error == std::errc() && stop == end && seconds > 0 && seconds <= 24 * 60 * 60;
}

bool ParseStopWay(const std::string& text, StopWay& way) {
  if (text == "input") {
    way = StopWay::kCloseInput;
  } else if (text == "ctrl-c") {
    way = StopWay::kCtrlC;
  } else {
    return false;
  }
  return true;
}

bool ParseVariable(const std::string& text, LauncherOptions& options) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) return false;
  options.environment.emplace_back(text.substr(0, equals), text.substr(equals + 1));
  return true;
}

// False when the name is none of the launcher's.
bool TakeOption(const std::string& name, const std::string& value, LauncherOptions& options,
                bool& valueIsGood) {
  valueIsGood = true;
  if (name == "--temp") {
    options.tempDirectory = value;
  } else if (name == "--local-appdata") {
    options.localAppData = value;
  } else if (name == "--url-file") {
    options.urlFile = value;
  } else if (name == "--env") {
    valueIsGood = ParseVariable(value, options);
  } else if (name == "--load") {
    options.loadedLibrary = value;
  } else if (name == "--ready-timeout") {
    valueIsGood = ParseSeconds(value, options.readySeconds);
  } else if (name == "--stop-timeout") {
    valueIsGood = ParseSeconds(value, options.stopSeconds);
  } else if (name == "--stop-with") {
    valueIsGood = ParseStopWay(value, options.stopWay);
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::string ParseLauncherOptions(std::span<const std::string> arguments, LauncherOptions& options) {
  size_t next = 0;
  while (next < arguments.size() && arguments[next].starts_with("--")) {
    const std::string& name = arguments[next++];
    if (name == "--") break;
    if (name == "--help") {
      options.help = true;
      return "";
    }
    const bool hasValue = next < arguments.size();
    const std::string value = hasValue ? arguments[next] : "";
    bool valueIsGood = true;
    if (!TakeOption(name, value, options, valueIsGood)) {
      return "unknown option " + name;
    }
    if (!hasValue) return name + " needs a value";
    if (!valueIsGood) return "no value for " + name + ": '" + value + "'";
    ++next;
  }
  options.host.assign(arguments.begin() + static_cast<std::ptrdiff_t>(next), arguments.end());
  return options.host.empty() ? "which host?" : "";
}

}  // namespace talu
