// How well the stream loop keeps its pace: the real loop on the real clock over a machine that
// costs nothing, for 60 seconds.
//
// From one frame the loop's own arithmetic tells when the next one comes: when so many whole
// milliseconds have passed as the slot is away from the current one, truncated. The error is how
// far off it comes. The loop's start, which its milliseconds count from, is known to a few
// microseconds from all of the time stamps together.
//
// Usage: pacing FPS [SECONDS]. Prints one line for each figure: name, tab, number.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/clock.h"
#include "session/frame_pacing.h"
#include "tests/fakes/bare_stream.h"

namespace talu {
namespace {

struct Sent {
  int64_t atNs;
  int64_t timestampMs;
};

std::vector<Sent> sent;
SessionFlags* running = nullptr;
size_t wanted = 0;

int32_t NoteFrame(SdkSessionHandle, const SdkVideoFrame* frame) {
  sent.push_back({MonotonicNowNs(), frame->timestampMs});
  if (sent.size() == wanted) running->streaming.store(false);
  return kSdkOk;
}

// The host's main thread has slept like this before anybody subscribes, and the clock has learned
// from it how the system waits.
void SleepAsTheHostDoes() {
  constexpr int kSteps = 20;
  constexpr int64_t kStepMs = 200;
  for (int step = 0; step < kSteps; ++step) SleepForMs(kStepMs);
}

bool RunLoop(int32_t fps) {
  BareStream stream(NoteFrame);
  if (!stream.Open(fps)) return false;
  running = &stream.flags;
  stream.Run();
  return true;
}

// No frame was sent before its time stamp: the start is no later than any of them allows.
int64_t LoopStartNs() {
  int64_t startNs = sent.front().atNs;
  for (const Sent& frame : sent) {
    startNs = std::min(startNs, frame.atNs - frame.timestampMs * kNsPerMs);
  }
  return startNs;
}

std::vector<double> ErrorsMs(int32_t fps) {
  const int64_t startNs = LoopStartNs();
  std::vector<double> errors;
  for (size_t at = 1; at < sent.size(); ++at) {
    const Sent& before = sent[at - 1];
    const int64_t elapsedMs = (before.atNs - startNs) / kNsPerMs;
    const int64_t waitMs = before.timestampMs + FrameIntervalMs(fps) - elapsedMs;
    const int64_t dueNs = before.atNs + std::max<int64_t>(waitMs, 0) * kNsPerMs;
    errors.push_back(std::abs(static_cast<double>(sent[at].atNs - dueNs)) / kNsPerMs);
  }
  return errors;
}

double AtQuantile(const std::vector<double>& sorted, double quantile) {
  return sorted[static_cast<size_t>(quantile * static_cast<double>(sorted.size() - 1))];
}

int Main(int argc, char** argv) {
  const int32_t fps = argc > 1 ? std::atoi(argv[1]) : 0;
  const int32_t seconds = argc > 2 ? std::atoi(argv[2]) : 60;
  if (fps < 1 || seconds < 1) {
    std::fputs("usage: pacing FPS [SECONDS]\n", stderr);
    return 2;
  }
  wanted = static_cast<size_t>(fps) * static_cast<size_t>(seconds);
  sent.reserve(wanted);
  // The loop's log would come between the figures.
  std::FILE* const figures = stderr;
  SleepAsTheHostDoes();
  if (!RunLoop(fps)) return 1;
  std::vector<double> errors = ErrorsMs(fps);
  std::sort(errors.begin(), errors.end());
  const double lengthMs = static_cast<double>(sent.back().atNs - sent.front().atNs) / kNsPerMs;
  std::fprintf(figures, "fps\t%.3f\n", static_cast<double>(sent.size() - 1) * 1000 / lengthMs);
  std::fprintf(figures, "median_ms\t%.3f\n", AtQuantile(errors, 0.5));
  std::fprintf(figures, "p95_ms\t%.3f\n", AtQuantile(errors, 0.95));
  std::fprintf(figures, "p99_ms\t%.3f\n", AtQuantile(errors, 0.99));
  std::fprintf(figures, "largest_ms\t%.3f\n", errors.back());
  return 0;
}

}  // namespace
}  // namespace talu

int main(int argc, char** argv) { return talu::Main(argc, argv); }
