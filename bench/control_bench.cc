// What a control message costs the host, beside memcpy of the same bytes where there are many.
//
// MouseMove is the way of a message from the library's callback to SendInput, the system's own work
// left out. The others read and write the text of a clipboard message of 16 KiB, the most that is
// sent; "gbps" counts the bytes that are read, escaped ones by the reader and plain ones by the
// writer.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>

#include "bench/turns.h"
#include "control/json_fields.h"
#include "control/json_text.h"
#include "session/push_session.h"
#include "session/sdk_callbacks.h"
#include "tests/fakes/allocation_count.h"
#include "tests/fakes/bare_machine.h"

namespace talu {
namespace {

constexpr size_t kTextBytes = 16 * 1024;
constexpr int kGoes = 400;

void MouseMove(benchmark::State& state) {
  PushSession session;
  const SdkGlobalConfig library = MakeGlobalConfig(1, session);
  const std::string body = R"({"type":"mousemove","x":40,"y":30})";
  const SdkCustomMessage message{kControlLabel, reinterpret_cast<const uint8_t*>(body.data()),
                                 static_cast<uint32_t>(body.size()), 0};
  constexpr int kMessages = 1000;
  FastestTime many;
  const int64_t before = AllocationsOfThisThread();
  int64_t messages = 0;
  for ([[maybe_unused]] auto round : state) {
    many.Time([&] {
      for (int count = 0; count < kMessages; ++count) {
        library.onCustomMessage(nullptr, &message, library.user);
      }
    });
    messages += kMessages;
    state.SetIterationTime(many.Seconds());
  }
  state.counters["us"] = many.Seconds() * 1e6 / kMessages;
  state.counters["allocations"] =
      static_cast<double>((AllocationsOfThisThread() - before) / messages);
}
BENCHMARK(MouseMove)->UseManualTime()->Iterations(200);

enum TextKind { kAscii, kChinese, kLines, kWindowsLines, kCode, kQuotes, kControls };
constexpr std::array<const char*, 7> kTextNames{
    "plain ASCII",     "Chinese", "lines of 40 to 60", "Chinese lines ending in CR LF",
    "indented source", "quotes",  "control bytes"};

std::string Line(std::mt19937& random, size_t length) {
  std::string line;
  while (line.size() < length) line.push_back(static_cast<char>('a' + random() % 26));
  return line;
}

std::string PieceOf(TextKind kind, std::mt19937& random) {
  switch (kind) {
    case kAscii:
      return Line(random, 64);
    case kChinese:
      return "云桌面的剪贴板";
    case kLines:
      return Line(random, 40 + random() % 21) + "\n";
    case kWindowsLines:
      return "云桌面的剪贴板，云桌面的剪贴板\r\n";
    case kCode:
      return "\tif (name == \"" + Line(random, 3 + random() % 9) + "\") {\n\t\treturn 0;\n\t}\n";
    case kQuotes:
      return "\"";
    case kControls:
      return "\x01";
  }
  return "";
}

std::string TextOf(TextKind kind) {
  std::mt19937 random(1);
  std::string text;
  while (JsonEscapedSize(text) < kTextBytes) text += PieceOf(kind, random);
  return text;
}

void Report(benchmark::State& state, size_t bytes, const FastestTime& ours,
            const FastestTime& copy) {
  state.counters["gbps"] = static_cast<double>(bytes) / ours.Seconds() / 1e9;
  state.counters["memcpy_gbps"] = static_cast<double>(bytes) / copy.Seconds() / 1e9;
  state.SetLabel(kTextNames[static_cast<size_t>(state.range(0))]);
}

void FindString(benchmark::State& state) {
  const std::string body = R"({"type":"clipboard","text":")" +
                           JsonEscape(TextOf(static_cast<TextKind>(state.range(0)))) + "\"}";
  FastestTime ours;
  FastestTime copy;
  for ([[maybe_unused]] auto round : state) {
    ours.Time([&] {
      std::string value;
      benchmark::DoNotOptimize(JsonFindString(body, "text", value));
    });
    copy.Time([&] { benchmark::DoNotOptimize(std::string(body)); });
    state.SetIterationTime(ours.Seconds());
  }
  Report(state, body.size(), ours, copy);
}
BENCHMARK(FindString)->DenseRange(kAscii, kControls)->UseManualTime()->Iterations(kGoes);

void Escape(benchmark::State& state) {
  const std::string text = TextOf(static_cast<TextKind>(state.range(0)));
  FastestTime ours;
  FastestTime copy;
  for ([[maybe_unused]] auto round : state) {
    ours.Time([&] { benchmark::DoNotOptimize(JsonEscape(text)); });
    copy.Time([&] { benchmark::DoNotOptimize(std::string(text)); });
    state.SetIterationTime(ours.Seconds());
  }
  Report(state, text.size(), ours, copy);
}
BENCHMARK(Escape)->DenseRange(kAscii, kControls)->UseManualTime()->Iterations(kGoes);

}  // namespace
}  // namespace talu
