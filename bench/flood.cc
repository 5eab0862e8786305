// What a flood of 100,000 mouse moves a second leaves of 30 pictures a second, over a machine that
// costs nothing: what the host's own locks and waits take from the stream.
//
// Usage: flood [SECONDS]. Prints one line for each figure: name, tab, number.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "session/push_session.h"
#include "tests/fakes/bare_machine.h"
#include "tests/fakes/fake_stream_library.h"

namespace talu {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int32_t kFps = 30;
constexpr int kMovesAMillisecond = 100;

struct Rates {
  double pictures;
  double inputs;
};

Rates RatesOver(std::chrono::seconds time) {
  FakeStreamLibrary& library = FakeStreamLibrary::Get();
  const Clock::time_point begin = Clock::now();
  const size_t pictures = library.FrameCount();
  const int64_t inputs = bareInjections.load();
  std::this_thread::sleep_for(time);
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  return {static_cast<double>(library.FrameCount() - pictures) / seconds,
          static_cast<double>(bareInjections.load() - inputs) / seconds};
}

void MoveTheMouse(const std::atomic<bool>& enough) {
  FakeStreamLibrary& library = FakeStreamLibrary::Get();
  const std::string move = R"({"type":"mousemove","x":40,"y":30})";
  Clock::time_point due = Clock::now();
  while (!enough.load()) {
    for (int count = 0; count < kMovesAMillisecond; ++count) library.Say(move);
    due = std::max(due + std::chrono::milliseconds(1), Clock::now());
    std::this_thread::sleep_until(due);
  }
}

int Main(int argc, char** argv) {
  const std::chrono::seconds time(argc > 1 ? std::atoi(argv[1]) : 20);
  // The host's log would come between the figures.
  std::FILE* const figures = stderr;
  PushSession session;
  if (!session.Start(HostConfig{})) return 1;
  FakeStreamLibrary::Get().Subscribe(kFps, 8000, 0);
  const Rates quiet = RatesOver(time);
  std::atomic<bool> enough{false};
  std::thread flood([&] { MoveTheMouse(enough); });
  const Rates flooded = RatesOver(time);
  enough.store(true);
  flood.join();
  session.Stop();
  std::fprintf(figures, "inputs a second\t%.0f\n", flooded.inputs);
  std::fprintf(figures, "pictures a second without the flood\t%.3f\n", quiet.pictures);
  std::fprintf(figures, "pictures a second in the flood\t%.3f\n", flooded.pictures);
  std::fprintf(figures, "pictures in the flood to without\t%.3f\n",
               flooded.pictures / quiet.pictures);
  return 0;
}

}  // namespace
}  // namespace talu

int main(int argc, char** argv) { return talu::Main(argc, argv); }
