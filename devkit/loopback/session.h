// One session of the library: the viewer server and the threads that call the host.
//
// Made by tcar_session_create, ended by tcar_session_destroy. Subscription events and custom
// messages come on a thread each, so that the host meets callbacks of two threads at once as it
// would with any streaming library. Send calls come from any thread, also while Stop runs.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/sdk_records.h"
#include "devkit/loopback/callback_lane.h"
#include "devkit/loopback/server.h"

namespace talu::loopback {

// What the environment asks of the library; see docs/devkit.md.
struct Settings {
  uint16_t port = 0;
  std::string token;
  std::filesystem::path viewerFolder;
  std::optional<std::filesystem::path> urlFile;
  std::optional<std::filesystem::path> faultFile;
};

// Nothing when a variable cannot be used; complaint then names it.
std::optional<Settings> ReadSettings(std::string* complaint);

class Session {
 public:
  // config is copied; its callbacks are called from Start to Stop. log may be called on any thread
  // until Stop returns.
  Session(const SdkGlobalConfig& config, SdkSessionHandle handle, Settings settings,
          std::function<void(std::string)> log);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Serves. False with a complaint when that fails. May throw std::system_error.
  bool Start(const SdkSessionParams& params, std::string* complaint);

  // Waits for callbacks that run and ends all threads; after it no callback comes. Not in a
  // callback.
  void Stop();

  SdkSessionHandle Handle() const { return handle; }
  // Records that have been checked.
  void SendVideo(const SdkVideoFrame& frame);
  int32_t SendMessage(const SdkCustomMessage& message);
  void SetScreen(const SdkScreenInfo& info);

 private:
  ServerEvents MakeEvents();
  void PostProfile(const SdkStreamRequest& profile);
  void PostOnce(std::atomic<bool>* waits, std::function<void()> callback);
  bool WriteUrlFile(std::string* complaint);
  void RemoveUrlFile();

  const SdkGlobalConfig config;
  const SdkSessionHandle handle;
  const Settings settings;
  const std::function<void(std::string)> log;

  std::atomic<bool> keyFrameRequestWaits{false};
  std::atomic<bool> screenInfoRequestWaits{false};
  std::mutex profileLock;
  std::optional<SdkStreamRequest> waitingProfile;

  std::unique_ptr<CallbackLane> subscriptions;
  std::unique_ptr<CallbackLane> messages;
  std::unique_ptr<Server> server;
};

}  // namespace talu::loopback
