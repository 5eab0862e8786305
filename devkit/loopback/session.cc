#include "devkit/loopback/session.h"

#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "devkit/loopback/error_codes.h"
#include "devkit/loopback/platform.h"
#include "devkit/loopback/request_check.h"
#include "devkit/loopback/viewer_message.h"

namespace talu::loopback {
namespace {

constexpr size_t kWaitingMessageBytes = 8u << 20;
constexpr size_t kWaitingSubscriptionEvents = 256;
// What a waiting message costs beyond its text.
constexpr size_t kMessageOverheadBytes = 128;

std::optional<std::filesystem::path> ReadPath(const char* name) {
  const std::optional<std::string> text = ReadEnvironment(name);
  if (!text) return std::nullopt;
  return PathFromUtf8(*text);
}

}  // namespace

std::optional<Settings> ReadSettings(std::string* complaint) {
  Settings settings;
  const int32_t port = ParseInt32(ReadEnvironment("TCAR_LOOPBACK_PORT").value_or("0")).value_or(-1);
  if (port < 0 || port > 65535) {
    *complaint = "TCAR_LOOPBACK_PORT is not a port number";
    return std::nullopt;
  }
  settings.port = static_cast<uint16_t>(port);
  const std::optional<std::string> token = ReadEnvironment("TCAR_LOOPBACK_TOKEN");
  settings.token = token ? *token : RandomToken();
  if (!IsUsableToken(settings.token)) {
    *complaint = "TCAR_LOOPBACK_TOKEN may hold letters, digits, '-' and '_', 128 at most";
    return std::nullopt;
  }
  const std::optional<std::filesystem::path> folder = ReadPath("TCAR_LOOPBACK_VIEWER_DIR");
  settings.viewerFolder = folder ? *folder : ModuleFolder() / "viewer";
  settings.urlFile = ReadPath("TCAR_LOOPBACK_URL_FILE");
  settings.faultFile = ReadPath("TCAR_LOOPBACK_FAULTS");
  return settings;
}

Session::Session(const SdkGlobalConfig& configToCopy, SdkSessionHandle ownHandle,
                 Settings ownSettings, std::function<void(std::string)> logLine)
    : config(configToCopy),
      handle(ownHandle),
      settings(std::move(ownSettings)),
      log(std::move(logLine)) {}

Session::~Session() { Stop(); }

bool Session::Start(const SdkSessionParams& params, std::string* complaint) {
  ServerOptions options;
  options.port = settings.port;
  options.token = settings.token;
  options.viewerFolder = settings.viewerFolder;
  options.instance = params.instanceId;
  options.width = static_cast<uint32_t>(params.width);
  options.height = static_cast<uint32_t>(params.height);
  subscriptions = std::make_unique<CallbackLane>(kWaitingMessageBytes, std::function<void()>());
  server = std::make_unique<Server>(std::move(options), MakeEvents());
  messages =
      std::make_unique<CallbackLane>(kWaitingMessageBytes, [this] { server->ResumeReading(); });
  if (!server->Start(complaint)) return false;
  log("viewer at " + server->Address());
  return WriteUrlFile(complaint);
}

void Session::Stop() {
  if (!server) return;
  // First the thread that posts, then those that it posts to.
  server->Stop();
  if (messages) messages->Close(CallbackLane::Rest::kDrop);
  subscriptions->Close(CallbackLane::Rest::kDrop);
  RemoveUrlFile();
}

void Session::SendVideo(const SdkVideoFrame& frame) {
  server->SendVideo({frame.bytes, frame.length}, frame.frameType == kSdkFrameTypeKey,
                    frame.timestampMs);
}

int32_t Session::SendMessage(const SdkCustomMessage& message) {
  switch (server->SendControl({message.payload, message.payloadLength})) {
    case SendResult::kSent:
      return kOk;
    case SendResult::kTooSlow:
      return kViewerTooSlow;
    case SendResult::kNoViewer:
      break;
  }
  return kNoViewer;
}

void Session::SetScreen(const SdkScreenInfo& info) { server->SetScreen(info.width, info.height); }

ServerEvents Session::MakeEvents() {
  ServerEvents events;
  events.onSubscribed = [this](const SdkStreamRequest& request) {
    subscriptions->Post(
        [this, request] {
          config.onSubscriberConnected(handle, nullptr, nullptr, &request, config.user);
        },
        0);
  };
  events.onUnsubscribed = [this] {
    subscriptions->Post(
        [this] { config.onSubscriberDisconnected(handle, nullptr, nullptr, config.user); }, 0);
  };
  events.onProfile = [this](const SdkStreamRequest& profile) { PostProfile(profile); };
  events.onKeyFrameRequest = [this] {
    PostOnce(&keyFrameRequestWaits,
             [this] { config.onKeyframeRequest(handle, nullptr, nullptr, config.user); });
  };
  events.onScreenInfoRequest = [this] {
    PostOnce(&screenInfoRequestWaits, [this] { config.onScreenInfoRequest(handle, config.user); });
  };
  events.onControl = [this](std::string label, std::string message, size_t bodyOffset) {
    const size_t bytes = message.size() + kMessageOverheadBytes;
    return messages->Post(
        [this, label = std::move(label), message = std::move(message), bodyOffset] {
          const SdkCustomMessage record{
              label.c_str(), reinterpret_cast<const uint8_t*>(message.data()) + bodyOffset,
              static_cast<uint32_t>(message.size() - bodyOffset), 0};
          config.onCustomMessage(handle, &record, config.user);
        },
        bytes);
  };
  events.waitingControlBytes = [this] { return messages->WaitingBytes(); };
  events.takesSubscriptions = [this] {
    return subscriptions->WaitingTasks() < kWaitingSubscriptionEvents;
  };
  events.onLog = log;
  return events;
}

// Of profiles that come faster than the host takes them, the last one counts.
void Session::PostProfile(const SdkStreamRequest& profile) {
  {
    const std::lock_guard guard(profileLock);
    if (std::exchange(waitingProfile, profile)) return;
  }
  subscriptions->Post(
      [this] {
        SdkStreamRequest latest{};
        {
          const std::lock_guard guard(profileLock);
          latest = *std::exchange(waitingProfile, std::nullopt);
        }
        config.onSetStreamProfile(handle, nullptr, nullptr, &latest, config.user);
      },
      0);
}

// A request that waits already stands for this one too.
void Session::PostOnce(std::atomic<bool>* waits, std::function<void()> callback) {
  if (waits->exchange(true)) return;
  subscriptions->Post(
      [waits, callback = std::move(callback)] {
        waits->store(false);
        callback();
      },
      0);
}

// Written beside it and renamed, so that nobody reads half an address.
bool Session::WriteUrlFile(std::string* complaint) {
  if (!settings.urlFile) return true;
  std::filesystem::path draft = *settings.urlFile;
  draft += ".new";
  std::ofstream stream(draft, std::ios::binary);
  stream << server->Address() << '\n';
  stream.close();
  std::error_code error;
  if (stream) std::filesystem::rename(draft, *settings.urlFile, error);
  if (stream && !error) return true;
  *complaint = "TCAR_LOOPBACK_URL_FILE cannot be written";
  return false;
}

// Unless another run has taken the file over meanwhile.
void Session::RemoveUrlFile() {
  if (!settings.urlFile) return;
  std::ifstream stream(*settings.urlFile, std::ios::binary);
  const std::string content(std::istreambuf_iterator<char>(stream), {});
  stream.close();
  if (content != server->Address() + "\n") return;
  std::error_code harmless;  // A stale address leads nowhere.
  std::filesystem::remove(*settings.urlFile, harmless);
}

}  // namespace talu::loopback
