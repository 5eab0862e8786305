// A streaming library without a network that calls the host back in a storm: every callback, from
// eight threads at once and with no order at all, for as many seconds as TALU_STORM_SECONDS says.
// Then it subscribes once and tells the host's log what came of it.
// With TALU_FLOOD_SECONDS it subscribes and counts the pictures for so long, then once more while
// one thread moves the mouse up to 100,000 times a second, and tells the log both rates.
// tcar_session_destroy ends either in its middle.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "devkit/loopback/entry_points.h"

namespace talu {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kThreads = 8;
constexpr int32_t kSendFailed = 5;
constexpr int64_t kWantedPictures = 3;
constexpr int32_t kFloodedFps = 30;
constexpr int kMovesAMillisecond = 100;
constexpr auto kPatience = std::chrono::seconds(60);
constexpr auto kPoll = std::chrono::milliseconds(5);

SdkGlobalConfig host{};
char theSession = 0;
std::atomic<bool> ending{false};
std::atomic<bool> blowing{false};
std::atomic<bool> flooding{false};
std::atomic<int64_t> calls{0};
std::atomic<int64_t> pictures{0};
std::atomic<bool> firstIsKey{false};
std::thread director;

void Subscribe(int32_t fps) {
  const SdkStreamRequest request{0, 0, fps, 4000, 0};
  host.onSubscriberConnected(&theSession, nullptr, nullptr, &request, host.user);
}

void Unsubscribe() { host.onSubscriberDisconnected(&theSession, nullptr, nullptr, host.user); }

void Say(const std::string& body) {
  const SdkCustomMessage message{kControlLabel, reinterpret_cast<const uint8_t*>(body.data()),
                                 static_cast<uint32_t>(body.size()), 0};
  host.onCustomMessage(&theSession, &message, host.user);
}

void CallOnce(std::minstd_rand& random) {
  const auto number = static_cast<int32_t>(random() % 60);
  const SdkStreamRequest profile{0, 0, number, 1000 + number, 0};
  switch (random() % 14) {
    case 0:
    case 1:
    case 2:
      return Subscribe(number);
    case 3:
      return Unsubscribe();
    case 4:
      return host.onKeyframeRequest(&theSession, nullptr, nullptr, host.user);
    case 5:
      return host.onSetStreamProfile(&theSession, nullptr, nullptr, &profile, host.user);
    case 6:
      return host.onScreenInfoRequest(&theSession, host.user);
    case 7:
      return host.emptyAt112();
    case 8:
      return Say(R"({"type":"bye"})");
    case 9:
      return Say(R"({"type":"request_keyframe","conn":")" + std::to_string(number) + R"("})");
    case 10:
      return Say(R"({"type":"switch_screen","index":)" + std::to_string(number % 3) + "}");
    case 11:
      return Say(R"({"type":"list_screens"})");
    case 12:
      return Say(R"({"type":"clipboard","text":")" + std::to_string(number) + R"("})");
    default:
      return Say(R"({"type":"mousemove","x":)" + std::to_string(number) + R"(,"y":5})");
  }
}

template <typename Condition>
void WaitFor(std::chrono::milliseconds time, Condition condition) {
  const auto end = Clock::now() + time;
  while (!ending.load() && !condition() && Clock::now() < end) {
    std::this_thread::sleep_for(kPoll);
  }
}

void Blow(std::chrono::seconds time) {
  blowing.store(true);
  std::vector<std::thread> storm;
  for (unsigned number = 0; number < kThreads; ++number) {
    storm.emplace_back([number] {
      std::minstd_rand random(number + 1);
      while (blowing.load()) {
        CallOnce(random);
        ++calls;
      }
    });
  }
  WaitFor(time, [] { return false; });
  blowing.store(false);
  for (std::thread& thread : storm) thread.join();
}

void TellWhatComes() {
  Unsubscribe();
  pictures.store(0);
  Subscribe(15);
  WaitFor(kPatience, [] { return pictures.load() >= kWantedPictures; });
  const std::string line = "after " + std::to_string(calls.load()) + " calls in a storm " +
                           (pictures.load() >= kWantedPictures ? "pictures" : "no pictures") +
                           (firstIsKey.load() ? ", a key frame first" : "");
  host.onLog(&theSession, line.c_str(), host.user);
}

// Ends early only for the session's end.
double PicturesASecond(std::chrono::seconds time) {
  const Clock::time_point begin = Clock::now();
  const int64_t before = pictures.load();
  WaitFor(time, [] { return false; });
  const std::chrono::duration<double> taken = Clock::now() - begin;
  return static_cast<double>(pictures.load() - before) / taken.count();
}

// A host that takes fewer gets as many as it takes.
void MoveTheMouse() {
  Clock::time_point due = Clock::now();
  while (flooding.load()) {
    for (int move = 0; move < kMovesAMillisecond; ++move) {
      const int64_t number = calls.fetch_add(1);
      Say(R"({"type":"mousemove","x":)" + std::to_string(number % 640) + R"(,"y":5})");
    }
    due = std::max(due + std::chrono::milliseconds(1), Clock::now());
    std::this_thread::sleep_until(due);
  }
}

void Flood(std::chrono::seconds time) {
  Subscribe(kFloodedFps);
  WaitFor(kPatience, [] { return pictures.load() >= kWantedPictures; });
  const double quiet = PicturesASecond(time);
  flooding.store(true);
  std::thread flood(MoveTheMouse);
  const Clock::time_point begin = Clock::now();
  const double flooded = PicturesASecond(time);
  const std::chrono::duration<double> taken = Clock::now() - begin;
  const double moves = static_cast<double>(calls.load()) / taken.count();
  flooding.store(false);
  flood.join();
  char line[128];
  std::snprintf(line, sizeof line, "flood: %.0f inputs, %.2f pictures a second; without %.2f",
                moves, flooded, quiet);
  host.onLog(&theSession, line, host.user);
}

std::chrono::seconds SecondsFrom(const char* variable, int fallback) {
  const char* seconds = std::getenv(variable);
  return std::chrono::seconds(seconds == nullptr ? fallback : std::atoi(seconds));
}

void Direct() {
  const std::chrono::seconds flood = SecondsFrom("TALU_FLOOD_SECONDS", 0);
  if (flood.count() > 0) return Flood(flood);
  Blow(SecondsFrom("TALU_STORM_SECONDS", 1));
  if (!ending.load()) TellWhatComes();
}

}  // namespace
}  // namespace talu

extern "C" {

int32_t tcar_global_init(const talu::SdkGlobalConfig* config) {
  talu::host = *config;
  return talu::kSdkOk;
}

void tcar_global_cleanup() {}

int32_t tcar_session_create(const talu::SdkSessionParams*, talu::SdkSessionHandle* session) {
  *session = &talu::theSession;
  talu::director = std::thread(talu::Direct);
  return talu::kSdkOk;
}

void tcar_session_destroy(talu::SdkSessionHandle) {
  talu::ending.store(true);
  talu::director.join();
}

int32_t tcar_session_send_encoded_video_frame(talu::SdkSessionHandle,
                                              const talu::SdkVideoFrame* frame) {
  if (talu::blowing.load() && frame->length % 16 == 0) return talu::kSendFailed;
  if (talu::pictures.fetch_add(1) == 0) {
    talu::firstIsKey.store(frame->frameType == talu::kSdkFrameTypeKey);
  }
  return talu::kSdkOk;
}

int32_t tcar_session_send_custom_message(talu::SdkSessionHandle, const talu::SdkCustomMessage*) {
  return talu::kSdkOk;
}

int32_t tcar_set_screen_info(talu::SdkSessionHandle, const talu::SdkScreenInfo*) {
  return talu::kSdkOk;
}

const char* tcar_str_err(int32_t) { return "stormy"; }
}
