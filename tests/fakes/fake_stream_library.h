// A stand-in for the streaming library and for loading it, linked in the place of the system's.
//
// One library for the process. It keeps a copy of every record the host passes and hands the host's
// callbacks out; any thread may use it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "base/sdk_records.h"

namespace talu {

struct SentFrame {
  SdkVideoFrame record{};
  std::vector<uint8_t> bytes;
};

class FakeStreamLibrary {
 public:
  static FakeStreamLibrary& Get();
  void Reset();

  // The script.
  bool present = true;
  std::set<std::string> missingSymbols;
  int32_t initResult = 0;
  int32_t createResult = 0;
  std::atomic<int32_t> sendResult{0};
  // Runs inside every send of a frame, on the stream thread.
  std::function<void()> duringSend;
  // Runs when a session has just been made, before the host knows of it.
  std::function<void()> duringCreate;
  // Runs when a session is about to be destroyed.
  std::function<void()> duringDestroy;

  // The record: "load", "unload", "global_init", "session_create", "session_destroy",
  // "global_cleanup", "set_screen_info 1280x720 1".
  std::vector<std::string> Calls();
  std::vector<SentFrame> Frames();
  size_t FrameCount();
  // Bodies of the messages sent to the controller.
  std::vector<std::string> Messages();
  int OpenLibraryCalls();

  // What global_init and session_create were given.
  SdkGlobalConfig config{};
  SdkSessionParams params{};
  std::string instanceId;
  std::string token;
  std::string accessInfo;

  // The library's side of the callbacks.
  void Subscribe(int32_t fps, int32_t maxKbps, int32_t minKbps);
  void Unsubscribe();
  void RequestKeyframe();
  void SetProfile(int32_t fps, int32_t maxKbps, int32_t minKbps);
  void RequestScreenInfo();
  void Say(const std::string& body, const std::string& label = kControlLabel);

  // Called by the fake entry points.
  void Note(const std::string& call);
  void KeepFrame(const SdkVideoFrame& frame);
  void KeepMessage(const SdkCustomMessage& message);

 private:
  std::mutex lock;
  std::vector<std::string> calls;
  std::vector<SentFrame> frames;
  std::vector<std::string> messages;
};

}  // namespace talu
