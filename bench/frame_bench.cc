// What a frame costs the host beside the encoder's own work, beside memcpy of as many bytes.
//
// FramePath takes a picture the way from the mapped rows of a staging texture to the library: rows
// to pixel buffer, conversion, copy into a fresh buffer as Media Foundation makes one, hand-over of
// the unit. A picture of n bytes must be moved as n bytes of pixels, 3/8 n of NV12 and 3/8 n into
// the buffer: "to_memcpy" is the time over that of memcpys of these sizes, "to_picture_memcpy" over
// that of the picture alone. The pictures walked through are more than the caches hold, as those
// that a graphics card writes.
//
// LoopPass is a pass of the stream loop over a machine that costs nothing.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "base/clock.h"
#include "bench/turns.h"
#include "capture/pixel_rows.h"
#include "encoder/picture_staging.h"
#include "session/frame_sender.h"
#include "tests/fakes/bare_stream.h"

namespace talu {
namespace {

constexpr size_t kWalkedBytes = size_t{160} << 20;
// Rows of a texture begin at multiples of 256 bytes, and often further on.
constexpr size_t kRowPadding = 256;
constexpr uint32_t kUnitBytes = 20'000;

// An open library session that takes frames.
struct Library {
  Library() {
    SdkSessionHandle handle = nullptr;
    sdk.session_create(nullptr, &handle);
    session.Open(sdk, handle);
  }
  ~Library() { session.Close(); }

  const StreamSdk sdk = BareStreamSdk();
  SdkSession session;
};

void FramePath(benchmark::State& state) {
  const auto width = static_cast<int32_t>(state.range(0));
  const auto height = static_cast<int32_t>(state.range(1));
  const size_t rowBytes = size_t{4} * width;
  const size_t pitch = rowBytes + kRowPadding;
  const size_t mappedBytes = pitch * height;
  const size_t pictureBytes = rowBytes * height;
  const size_t nv12Bytes = pictureBytes * 3 / 8;
  std::vector<uint8_t> mapped(std::max(kWalkedBytes / mappedBytes, size_t{1}) * mappedBytes);
  std::mt19937 random(1);
  std::generate(mapped.begin(), mapped.end(), [&] { return static_cast<uint8_t>(random()); });
  std::vector<uint8_t> pixels;
  std::vector<uint8_t> nv12;
  std::vector<uint8_t> pictureCopy(pictureBytes);
  std::vector<uint8_t> nv12Copy(nv12Bytes);
  const std::vector<uint8_t> unit(kUnitBytes);
  Library library;
  SessionFlags flags;
  FrameSender sender(library.session, library.sdk, flags);
  FastestTime copyRows;
  FastestTime convert;
  FastestTime fill;
  FastestTime handOver;
  FastestTime whole;
  FastestTime picture;
  FastestTime bytes;
  for ([[maybe_unused]] auto round : state) {
    for (size_t at = 0; at < mapped.size(); at += mappedBytes) {
      whole.Time([&] {
        copyRows.Time([&] {
          ResizePixels(pixels, pictureBytes);
          CopyRows(mapped.data() + at, pitch, rowBytes, height, pixels.data());
        });
        convert.Time([&] { (void)StageNv12(pixels.data(), width, height, nv12); });
        fill.Time([&] {
          const std::unique_ptr<uint8_t[]> buffer(new uint8_t[nv12Bytes]);
          std::memcpy(buffer.get(), nv12.data(), nv12Bytes);
          benchmark::DoNotOptimize(buffer.get());
        });
        handOver.Time([&] { sender.OnEncodedFrame(unit.data(), kUnitBytes, true, 0); });
      });
    }
    for (size_t at = 0; at < mapped.size(); at += mappedBytes) {
      bytes.Time([&] {
        picture.Time([&] { std::memcpy(pictureCopy.data(), mapped.data() + at, pictureBytes); });
        std::memcpy(nv12Copy.data(), pictureCopy.data(), nv12Bytes);
        benchmark::ClobberMemory();
        std::memcpy(nv12.data(), nv12Copy.data(), nv12Bytes);
      });
    }
    state.SetIterationTime(whole.Seconds());
  }
  state.counters["us"] = whole.Seconds() * 1e6;
  state.counters["rows_us"] = copyRows.Seconds() * 1e6;
  state.counters["convert_us"] = convert.Seconds() * 1e6;
  state.counters["buffer_us"] = fill.Seconds() * 1e6;
  state.counters["hand_over_us"] = handOver.Seconds() * 1e6;
  state.counters["memcpy_us"] = bytes.Seconds() * 1e6;
  state.counters["to_memcpy"] = whole.Seconds() / bytes.Seconds();
  state.counters["to_picture_memcpy"] = whole.Seconds() / picture.Seconds();
}
BENCHMARK(FramePath)
    ->Args({1280, 720})
    ->Args({1920, 1080})
    ->Args({3840, 2160})
    ->UseManualTime()
    ->Iterations(12);

constexpr int64_t kLoopFrames = 2000;
SessionFlags* running = nullptr;

void LoopPass(benchmark::State& state) {
  BareStream stream;
  // So many frames a second that the loop never waits.
  if (!stream.Open(2000)) {
    state.SkipWithError("no stream");
    return;
  }
  running = &stream.flags;
  onBareFrame = [](int64_t number) {
    if (number % kLoopFrames == 0) running->streaming.store(false);
  };
  FastestTime run;
  for ([[maybe_unused]] auto round : state) {
    run.Time([&] { stream.Run(); });
    state.SetIterationTime(run.Seconds());
  }
  onBareFrame = nullptr;
  state.counters["us"] = run.Seconds() * 1e6 / kLoopFrames;
}
BENCHMARK(LoopPass)->UseManualTime()->Iterations(50);

}  // namespace
}  // namespace talu
