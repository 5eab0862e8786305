#include "devkit/controller/options.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

#include "devkit/controller/script_line.h"

namespace talu::controller {
namespace {

bool ReadCount(const std::string& text, int64_t* value) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return error == std::errc() && stop == text.data() + text.size() && *value > 0;
}

bool ReadInt32(const std::string& text, int32_t* value) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return error == std::errc() && stop == text.data() + text.size();
}

bool ReadSeconds(const std::string& text, double* value) {
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return !text.empty() && *end == '\0' && std::isfinite(*value) && *value > 0;
}

bool SetFlag(const std::string& name, Options* options) {
  bool* flag = nullptr;
  if (name == "--help" || name == "-h") flag = &options->help;
  if (name == "--control") flag = &options->wishes.controlOnly;
  if (name == "--stdin") flag = &options->readStdin;
  if (name == "--verbose") flag = &options->verbose;
  if (name == "--quiet") flag = &options->quiet;
  if (name == "--stats") flag = &options->statistics;
  if (flag == nullptr) return false;
  *flag = true;
  return true;
}

enum class ValueResult { kTaken, kBadValue, kUnknownName };

ValueResult SetValue(const std::string& name, const std::string& value, Options* options) {
  const auto result = [](bool good) { return good ? ValueResult::kTaken : ValueResult::kBadValue; };
  const auto setText = [&](std::string* text) {
    *text = value;
    return result(!value.empty());
  };
  if (name == "--url") return setText(&options->url);
  if (name == "--url-file") return setText(&options->urlFile);
  if (name == "--save") return setText(&options->saveFile);
  if (name == "--until") return setText(&options->until);
  if (name == "--fps") return result(ReadInt32(value, &options->wishes.fps));
  if (name == "--max") return result(ReadInt32(value, &options->wishes.maxKbps));
  if (name == "--min") return result(ReadInt32(value, &options->wishes.minKbps));
  if (name == "--frames") return result(ReadCount(value, &options->frames));
  if (name == "--seconds") return result(ReadSeconds(value, &options->seconds));
  return ValueResult::kUnknownName;
}

// What the options mean together; null when that is sound.
const char* Contradiction(const Options& options) {
  if (options.url.empty() == options.urlFile.empty()) return "give --url or --url-file";
  if (options.wishes.controlOnly && (options.frames > 0 || !options.saveFile.empty())) {
    return "with --control there is no video";
  }
  return nullptr;
}

}  // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments,
                                    std::string* complaint) {
  Options options;
  const auto fail = [&](const std::string& text) {
    *complaint = text;
    return std::nullopt;
  };
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (!argument.starts_with("-")) {
      std::string lineComplaint;
      if (!ParseScriptLine(argument, &lineComplaint)) return fail(lineComplaint);
      options.lines.push_back(argument);
      continue;
    }
    if (SetFlag(argument, &options)) continue;
    const std::string value = i + 1 < arguments.size() ? arguments[i + 1] : "";
    switch (SetValue(argument, value, &options)) {
      case ValueResult::kUnknownName:
        return fail("unknown option " + argument);
      case ValueResult::kBadValue:
        return fail("no usable value for " + argument);
      case ValueResult::kTaken:
        break;
    }
    ++i;
  }
  if (options.help) return options;
  if (const char* contradiction = Contradiction(options)) return fail(contradiction);
  return options;
}

const char* HelpText() {
  return R"(talu_controller - a controller for the loopback library on the command line

usage: talu_controller (--url URL | --url-file FILE) [OPTION...] [LINE...]

It connects like the viewer page, does what the lines say one after the other and
prints what comes back. Connecting makes it the subscriber: the host streams to it.

Where to:
  --url URL        the viewer's address, http://127.0.0.1:PORT/?token=TOKEN
  --url-file FILE  a file whose first line is the address; waited for up to --seconds,
                   60 without it
  --control        connect without becoming the subscriber: messages only, no video

What to ask for:
  --fps N          frames per second          --max N, --min N   bit rates in kbit/s

What to do (arguments, then with --stdin the lines of standard input):
  {"type":"list_screens"}        any line that does not begin with / is a control message
  /send TEXT                     the same for texts that begin with /
  /label LABEL TEXT              a control message with another label
  /hex BYTES                     a control message given in hexadecimal digits
  /keyframe  /screen_info        ask for a key frame, for the picture size
  /profile FPS MAX MIN           ask for another rate; 0 leaves a value as it is
  /command TEXT                  any text message, right or wrong
  /until TEXT                    go on when a line that holds TEXT has been printed
  /sleep MS                      go on after so many milliseconds

What comes back, one line each:
  JSON as it came; a cursor shape as "cursor visible=1 32x32 hot=0,0 bytes=4114";
  with --verbose each picture as "video 17 key 20480 bytes time=1200ms age=3ms"
  --quiet          print nothing of that
  --save FILE      write the video to FILE, an H.264 byte stream as ffplay reads it
  --stats          at the end one line of JSON: frames, keyFrames, gaps, lostUnits,
                   bytes, seconds, framesPerSecond, kbitPerSecond, longestIntervalMs,
                   and the age of pictures on arrival as ageMs min, median, p95, max

When to end (the first that happens; without any: when the lines are done, or never
when there are no lines):
  --frames N       after N pictures
  --until TEXT     after a line that holds TEXT (also with --quiet)
  --seconds S      after S seconds

exit codes: 0 done, 1 no connection or lost, 2 wrong usage, 3 --seconds were over before
--frames, --until or /until were reached, 4 the file cannot be written
)";
}

}  // namespace talu::controller
