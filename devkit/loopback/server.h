// The viewer server: one page and one WebSocket on 127.0.0.1, and who of the viewers gets what.
//
// The newest viewer is the subscriber; the one before it is told so and stays connected without
// video. Viewers that came with control=1 never subscribe. One network thread does everything but
// the Send calls, which any thread may make. The library's session owns it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "base/sdk_records.h"
#include "devkit/loopback/outbox.h"

namespace talu::loopback {

// Called on the network thread (onKeyFrameRequest on any); none may block.
struct ServerEvents {
  std::function<void(const SdkStreamRequest&)> onSubscribed;
  std::function<void()> onUnsubscribed;
  std::function<void(const SdkStreamRequest&)> onProfile;
  std::function<void()> onKeyFrameRequest;
  std::function<void()> onScreenInfoRequest;
  // Label, and a whole message with the offset at which its body begins. False when no more should
  // come for now; then ResumeReading must follow.
  std::function<bool(std::string label, std::string message, size_t bodyOffset)> onControl;
  // Bytes of control messages that wait in the callbacks' hands.
  std::function<size_t()> waitingControlBytes;
  // False when subscriptions should not come for now: such viewers are turned away.
  std::function<bool()> takesSubscriptions;
  std::function<void(std::string line)> onLog;
};

struct ServerOptions {
  uint16_t port = 0;
  std::string token;
  std::filesystem::path viewerFolder;
  std::string instance;
  uint32_t width = 0;
  uint32_t height = 0;

  OutboxLimits outbox;
  // For a whole request to arrive, a response to leave, a closing handshake to end.
  int64_t requestTimeoutMs = 10'000;
  // For a viewer that answers nothing, not even a ping.
  int64_t idleTimeoutMs = 30'000;
  size_t maxConnections = 256;
  // Of all messages together that are being received or wait for the host.
  size_t inboundBytes = 192u << 20;
};

enum class SendResult { kSent, kNoViewer, kTooSlow };

class Server {
 public:
  Server(ServerOptions serverOptions, ServerEvents serverEvents);
  ~Server();  // NOLINT(bugprone-exception-escape)
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Listens and starts the network thread. False with a complaint when that fails.
  bool Start(std::string* complaint);

  // Tells the viewers that it ends, gives them a moment to hear it, and ends the network thread.
  // After it no event comes from the network thread. Once.
  void Stop();

  // After Start: the port that was given or found.
  uint16_t Port() const;
  // The page's address with its token.
  std::string Address() const;

  void SendVideo(std::span<const uint8_t> unit, bool keyFrame, int64_t timestampMs);
  // To the subscriber and every control viewer.
  SendResult SendControl(std::span<const uint8_t> body);
  void SetScreen(uint32_t width, uint32_t height);
  // After onControl had said no.
  void ResumeReading();

  struct Parts;

 private:
  std::unique_ptr<Parts> parts;
};

}  // namespace talu::loopback
