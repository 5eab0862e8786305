// The conversion to NV12 beside libyuv's and beside a copy of the same input, in cache and out.
//
// "hot" converts one frame again and again; "cold" walks 160 MiB of frames, so that each comes from
// memory. A run goes through the subjects in turns and keeps each one's fastest frame: other work
// on the machine only ever adds time, and turns let it fall on all alike. Each line's counters are
// the time of our fastest path over libyuv's and over memcpy's.

#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "capture/nv12.h"
#include "capture/nv12_paths.h"

namespace talu {
namespace {

constexpr size_t kColdBytes = size_t{160} << 20;

struct Buffers {
  std::vector<uint8_t> frames;
  std::vector<uint8_t> nv12;
  std::vector<uint8_t> copy;
  size_t frameBytes;
  size_t frameCount;
};

Buffers MakeBuffers(int32_t width, int32_t height, size_t totalBytes) {
  const size_t frameBytes = size_t{4} * width * height;
  const size_t count = std::max<size_t>(1, totalBytes / frameBytes);
  Buffers buffers{std::vector<uint8_t>(frameBytes * count),
                  std::vector<uint8_t>(Nv12Capacity(width, height)),
                  std::vector<uint8_t>(frameBytes), frameBytes, count};
  std::mt19937 random(1);
  std::generate(buffers.frames.begin(), buffers.frames.end(),
                [&] { return static_cast<uint8_t>(random()); });
  return buffers;
}

// The time of the fastest frame of one walk through all of them, in seconds.
template <typename Convert>
double TimeWalk(const Buffers& buffers, Convert convert) {
  std::chrono::duration<double> fastest = std::chrono::duration<double>::max();
  for (size_t frame = 0; frame < buffers.frameCount; ++frame) {
    const auto start = std::chrono::steady_clock::now();
    convert(buffers.frames.data() + frame * buffers.frameBytes);
    benchmark::ClobberMemory();
    fastest =
        std::min<std::chrono::duration<double>>(fastest, std::chrono::steady_clock::now() - start);
  }
  return fastest.count();
}

void CompareConversions(benchmark::State& state, size_t totalBytes) {
  const auto width = static_cast<int32_t>(state.range(0));
  const auto height = static_cast<int32_t>(state.range(1));
  Buffers buffers = MakeBuffers(width, height, totalBytes);
  const Nv12Converter fastest = Nv12Paths().back().convert;
  uint8_t* nv12 = buffers.nv12.data();
  uint8_t* chroma = nv12 + size_t{1} * width * height;
  const auto ours = [&](const uint8_t* frame) { fastest(frame, width, height, nv12); };
  const auto reference = [&](const uint8_t* frame) {
    libyuv::ARGBToNV12(frame, 4 * width, nv12, width, chroma, width, width, height);
  };
  const auto copy = [&](const uint8_t* frame) {
    std::memcpy(buffers.copy.data(), frame, buffers.frameBytes);
  };
  double oursBest = std::numeric_limits<double>::max();
  double referenceBest = oursBest;
  double copyBest = oursBest;
  for ([[maybe_unused]] auto round : state) {
    // Twice each, so that with a frame in cache the second finds there what it left itself.
    for (int turn = 0; turn < 2; ++turn) oursBest = std::min(oursBest, TimeWalk(buffers, ours));
    for (int turn = 0; turn < 2; ++turn) {
      referenceBest = std::min(referenceBest, TimeWalk(buffers, reference));
    }
    for (int turn = 0; turn < 2; ++turn) copyBest = std::min(copyBest, TimeWalk(buffers, copy));
    state.SetIterationTime(oursBest);
  }
  state.SetLabel(Nv12Paths().back().name);
  state.counters["us"] = oursBest * 1e6;
  state.counters["libyuv_us"] = referenceBest * 1e6;
  state.counters["memcpy_us"] = copyBest * 1e6;
  state.counters["to_libyuv"] = oursBest / referenceBest;
  state.counters["to_memcpy"] = oursBest / copyBest;
}

void Nv12Hot(benchmark::State& state) { CompareConversions(state, 0); }
void Nv12Cold(benchmark::State& state) { CompareConversions(state, kColdBytes); }

void AddSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({1280, 720})->Args({1920, 1080})->Args({3840, 2160})->UseManualTime();
}

BENCHMARK(Nv12Hot)->Apply(AddSizes)->Iterations(200);
BENCHMARK(Nv12Cold)->Apply(AddSizes)->Iterations(8);

}  // namespace
}  // namespace talu
