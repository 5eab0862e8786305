// talu_controller: see HelpText.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "devkit/controller/console.h"
#include "devkit/controller/controller.h"
#include "devkit/controller/options.h"

namespace {

using talu::controller::Controller;

// For the signal handler, which is given nothing.
std::atomic<Controller*> running{nullptr};

void OnSignal(int) {
  if (Controller* controller = running.load()) controller->Interrupt();
}

void WriteLine(std::FILE* file, const std::string& line) {
  std::string whole = line + '\n';
  // Nobody left to read it: the exit code still tells.
  (void)std::fwrite(whole.data(), 1, whole.size(), file);
  (void)std::fflush(file);
}

void ReadLines(Controller* controller) {
  for (std::string line; std::getline(std::cin, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (!line.empty()) controller->AddLine(line);
  }
  controller->EndOfLines();
}

}  // namespace

int main(int argc, char** argv) {
  std::string complaint;
  const auto options =
      talu::controller::ParseOptions(talu::controller::PrepareConsole(argc, argv), &complaint);
  if (!options) {
    WriteLine(stderr, "talu_controller: " + complaint + "; --help tells more");
    return talu::controller::kExitUsage;
  }
  if (options->help) {
    std::fputs(talu::controller::HelpText(), stdout);
    return talu::controller::kExitDone;
  }
  static Controller controller(
      *options, [](const std::string& line) { WriteLine(stdout, line); },
      [](const std::string& line) { WriteLine(stderr, "talu_controller: " + line); });
  running = &controller;
  std::signal(SIGINT, OnSignal);
  std::signal(SIGTERM, OnSignal);
  if (options->readStdin) std::thread(ReadLines, &controller).detach();
  const int exitCode = controller.Run();
  // At once: the reader may be blocked in standard input, and an orderly end would wait for it.
  std::fflush(nullptr);
  std::_Exit(exitCode);
}
