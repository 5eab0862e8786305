#include "devkit/controller/controller.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "devkit/controller/message_text.h"
#include "devkit/loopback/platform.h"
#include "devkit/loopback/wire.h"

namespace talu::controller {
namespace {

constexpr int64_t kConnectTimeoutMs = 10'000;
constexpr int64_t kSendTimeoutMs = 60'000;
constexpr int64_t kCloseTimeoutMs = 2'000;
constexpr double kUrlFileSeconds = 60;
// How long an interrupt can go unnoticed.
constexpr int64_t kLongestWaitMs = 100;

}  // namespace

Controller::Controller(Options runOptions, std::function<void(const std::string&)> printLine,
                       std::function<void(const std::string&)> complainLine)
    : options(std::move(runOptions)),
      print(std::move(printLine)),
      complain(std::move(complainLine)),
      lines(options.lines.begin(), options.lines.end()),
      moreLines(options.readStdin) {}

ExitCode Controller::Run() {
  start = Clock::now();
  sleepEnd = start;
  if (!options.saveFile.empty()) {
    save.open(loopback::PathFromUtf8(options.saveFile), std::ios::binary);
    if (!save) {
      complain("cannot write " + options.saveFile);
      return kExitCannotWrite;
    }
  }
  ExitCode exitCode = kExitDone;
  if (!Connect(&exitCode)) return exitCode;
  exitCode = Loop();
  client.Close(kCloseTimeoutMs);
  if (options.statistics) print(statistics.Json());
  return exitCode;
}

void Controller::AddLine(std::string line) {
  {
    const std::lock_guard guard(lock);
    lines.push_back(std::move(line));
  }
  client.Wake();
}

void Controller::EndOfLines() {
  {
    const std::lock_guard guard(lock);
    moreLines = false;
  }
  client.Wake();
}

// The host may be about to start: its file is waited for.
std::optional<StreamAddress> Controller::FindAddress() {
  if (options.urlFile.empty()) return ParseStreamAddress(options.url);
  const double seconds = options.seconds > 0 ? options.seconds : kUrlFileSeconds;
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  while (true) {
    std::ifstream stream(loopback::PathFromUtf8(options.urlFile), std::ios::binary);
    std::string line;
    if (std::getline(stream, line)) return ParseStreamAddress(line);
    if (interrupted || Clock::now() > end) return std::nullopt;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

bool Controller::Connect(ExitCode* exitCode) {
  const std::optional<StreamAddress> address = FindAddress();
  if (!address) {
    complain(options.urlFile.empty()
                 ? "not an address of the form http://127.0.0.1:PORT/?token=TOKEN: " + options.url
                 : "no address in " + options.urlFile);
    *exitCode = options.urlFile.empty() ? kExitUsage : kExitNoConnection;
    return false;
  }
  std::string complaint;
  if (client.Connect(MakeHandshake(*address, options.wishes), kConnectTimeoutMs, &complaint)) {
    return true;
  }
  complain("cannot connect: " + complaint);
  *exitCode = kExitNoConnection;
  return false;
}

ExitCode Controller::Loop() {
  while (true) {
    if (interrupted) return kExitDone;
    if (const std::optional<ExitCode> end = DoLines()) return *end;
    const bool idleByLines =
        !HasEndCondition() && LinesAreDone() && (!options.lines.empty() || options.readStdin);
    if (idleByLines) return kExitDone;
    if (IsTimeOver()) {
      const bool missed = options.frames > 0 || !options.until.empty() || !awaited.empty();
      return missed ? kExitTimeOver : kExitDone;
    }
    ReceivedMessage message;
    switch (client.Receive(&message, WaitMs())) {
      case ReceiveResult::kMessage:
        if (const std::optional<ExitCode> end = Handle(message)) return *end;
        break;
      case ReceiveResult::kClosed:
        complain("the connection ended, code " + std::to_string(client.CloseCode()));
        return kExitNoConnection;
      case ReceiveResult::kTimeout:
      case ReceiveResult::kWoken:
        break;
    }
  }
}

// Does what can be done without waiting.
std::optional<ExitCode> Controller::DoLines() {
  std::string line;
  while (awaited.empty() && Clock::now() >= sleepEnd && TakeLine(&line)) {
    std::string complaint;
    const std::optional<Action> action = ParseScriptLine(line, &complaint);
    if (!action) {
      complain(complaint);
      return kExitUsage;
    }
    if (!DoAction(*action)) {
      complain("the connection is gone");
      return kExitNoConnection;
    }
  }
  return std::nullopt;
}

bool Controller::DoAction(const Action& action) {
  switch (action.kind) {
    case ActionKind::kSendText:
      return client.SendText(action.text, kSendTimeoutMs);
    case ActionKind::kSendBinary:
      return client.SendBinary(action.bytes, kSendTimeoutMs);
    case ActionKind::kWaitForText:
      awaited = action.text;
      return true;
    case ActionKind::kSleep:
      sleepEnd = Clock::now() + std::chrono::milliseconds(action.ms);
      return true;
  }
  return false;
}

bool Controller::TakeLine(std::string* line) {
  const std::lock_guard guard(lock);
  if (lines.empty()) return false;
  *line = std::move(lines.front());
  lines.pop_front();
  return true;
}

bool Controller::LinesAreDone() {
  const std::lock_guard guard(lock);
  return lines.empty() && !moreLines && awaited.empty() && Clock::now() >= sleepEnd;
}

bool Controller::HasEndCondition() const {
  return options.frames > 0 || options.seconds > 0 || !options.until.empty();
}

bool Controller::IsTimeOver() const {
  return options.seconds > 0 &&
         Clock::now() - start >= std::chrono::duration<double>(options.seconds);
}

int64_t Controller::WaitMs() const {
  const auto untilAwake =
      std::chrono::duration_cast<std::chrono::milliseconds>(sleepEnd - Clock::now()).count() + 1;
  return untilAwake > 0 ? std::min<int64_t>(untilAwake, kLongestWaitMs) : kLongestWaitMs;
}

std::optional<ExitCode> Controller::Handle(const ReceivedMessage& message) {
  if (message.text) {
    Show({message.bytes.begin(), message.bytes.end()});
  } else if (const auto body = loopback::ReadHostControlBody(message.bytes)) {
    Show(ControlText(*body));
  } else if (!HandleVideo(message)) {
    complain("cannot write " + options.saveFile);
    return kExitCannotWrite;
  }
  const bool enoughFrames = options.frames > 0 && statistics.Frames() >= options.frames;
  if (enoughFrames || untilSeen) return kExitDone;
  return std::nullopt;
}

bool Controller::HandleVideo(const ReceivedMessage& message) {
  const std::optional<loopback::VideoHeader> header = loopback::ReadVideoHeader(message.bytes);
  if (!header) {
    Show("unknown message of " + std::to_string(message.bytes.size()) + " bytes");
    return true;
  }
  const int64_t now = loopback::UnixTimeUs();
  const size_t unitBytes = message.bytes.size() - loopback::kVideoHeaderBytes;
  statistics.Add(*header, unitBytes, now);
  if (options.verbose) {
    Show(VideoText(*header, unitBytes, static_cast<double>(now - header->handedOverUs) / 1000));
  }
  if (!save.is_open()) return true;
  const auto* unit =
      reinterpret_cast<const char*>(message.bytes.data() + loopback::kVideoHeaderBytes);
  return bool(save.write(unit, static_cast<std::streamsize>(unitBytes)).flush());
}

void Controller::Show(const std::string& line) {
  if (!options.quiet) print(line);
  if (!awaited.empty() && line.find(awaited) != std::string::npos) awaited.clear();
  if (!options.until.empty() && line.find(options.until) != std::string::npos) untilSeen = true;
}

}  // namespace talu::controller
