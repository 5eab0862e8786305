// The client's end of the loopback stream: one WebSocket, text and binary messages.
//
// Everything happens inside the calls; between them nothing is read, so a caller that does not call
// Receive is a viewer that does not read. One thread at a time, Wake apart. Portable.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talu::controller {

struct StreamAddress {
  uint16_t port = 0;
  std::string token;
};

// From the viewer's address as the library tells it: http://127.0.0.1:PORT/?token=TOKEN, blanks and
// line ends after it allowed. Nothing for anything else.
std::optional<StreamAddress> ParseStreamAddress(std::string_view address);

struct StreamWishes {
  // 0: not given.
  int32_t fps = 0;
  int32_t maxKbps = 0;
  int32_t minKbps = 0;
  // Connects without becoming the subscriber.
  bool controlOnly = false;
};

// What the client asks for and with which headers; tests vary them.
struct Handshake {
  uint16_t port = 0;
  std::string target;
  std::string host;
  // Left out when empty.
  std::string origin;
};

Handshake MakeHandshake(const StreamAddress& address, const StreamWishes& wishes);

struct ReceivedMessage {
  bool text = false;
  std::vector<uint8_t> bytes;
};

enum class ReceiveResult { kMessage, kTimeout, kWoken, kClosed };

class StreamClient {
 public:
  StreamClient();
  ~StreamClient();
  StreamClient(const StreamClient&) = delete;
  StreamClient& operator=(const StreamClient&) = delete;

  // Once. False with a complaint: the HTTP status where there was one, else the system's text.
  bool Connect(const Handshake& handshake, int64_t timeoutMs, std::string* complaint);
  // The status of the answer to the handshake, 0 when there was none.
  unsigned HttpStatus() const;

  ReceiveResult Receive(ReceivedMessage* message, int64_t timeoutMs);
  // Waits until the system took it; messages that come meanwhile are kept for Receive. False when
  // the connection is gone or the time is over.
  bool SendText(std::string_view text, int64_t timeoutMs);
  bool SendBinary(std::span<const uint8_t> bytes, int64_t timeoutMs);

  // Says good-bye and waits for the answer.
  void Close(int64_t timeoutMs);
  // The code that the other side closed with, 0 when it did not.
  uint16_t CloseCode() const;

  // Makes a Receive that waits, or the next one, return kWoken. Any thread.
  void Wake();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace talu::controller
