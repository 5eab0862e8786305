// What the tests of the library share: a log of events to wait on, a socket without manners.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talu::loopback {

// Generous: a loaded machine is slow, and a test that waits so long has failed.
constexpr int64_t kTestTimeoutMs = 60'000;

// Lines of what happened, from any thread. Also how threads of a test wait for each other: the
// cross compiler's std::atomic::wait can miss its wake-up.
class EventLog {
 public:
  void Add(std::string event);
  // True as soon as the event has happened count times; false after kTestTimeoutMs.
  bool WaitFor(std::string_view event, size_t count = 1) const;
  // The first event with this beginning, waited for.
  std::optional<std::string> WaitForBeginning(std::string_view beginning) const;
  size_t CountOf(std::string_view event) const;
  size_t CountOfBeginning(std::string_view beginning) const;
  std::vector<std::string> All() const;

 private:
  bool WaitUntil(const std::function<bool()>& condition) const;
  size_t CountIf(const std::function<bool(const std::string&)>& matches) const;

  mutable std::mutex lock;
  mutable std::condition_variable changed;
  std::vector<std::string> events;
};

// A plain TCP client.
class RawSocket {
 public:
  explicit RawSocket(uint16_t port);
  ~RawSocket();
  RawSocket(const RawSocket&) = delete;
  RawSocket& operator=(const RawSocket&) = delete;

  bool IsConnected() const;
  // False when the other side is gone.
  bool Send(std::string_view bytes);
  // What comes until the text has come or the other side closes.
  std::string ReadUntil(std::string_view text);
  // What comes until the other side closes; *closed tells whether it did in kTestTimeoutMs.
  std::string ReadToTheEnd(bool* closed);
  // Lets the other side's bytes pile up from now on, in as little room as the system grants.
  void ShrinkReceiveBuffer();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

// A GET with the right Host header, more header lines and an empty line after it.
std::string MakeRequest(uint16_t port, const std::string& target, const std::string& headers = "");
// The header lines that ask for a WebSocket.
std::string UpgradeHeaders();
// A client's frame, masked as the rules want it.
std::string MakeFrame(uint8_t firstByte, const std::string& payload);

}  // namespace talu::loopback
