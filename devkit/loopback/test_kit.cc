#include "devkit/loopback/test_kit.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <utility>

namespace talu::loopback {
namespace {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;
using ErrorCode = boost::system::error_code;

}  // namespace

void EventLog::Add(std::string event) {
  {
    const std::lock_guard guard(lock);
    events.push_back(std::move(event));
  }
  changed.notify_all();
}

bool EventLog::WaitFor(std::string_view event, size_t count) const {
  return WaitUntil([&] {
    return static_cast<size_t>(std::count(events.begin(), events.end(), event)) >= count;
  });
}

std::optional<std::string> EventLog::WaitForBeginning(std::string_view beginning) const {
  std::optional<std::string> found;
  WaitUntil([&] {
    const auto event = std::find_if(events.begin(), events.end(),
                                    [&](const std::string& e) { return e.starts_with(beginning); });
    if (event != events.end()) found = *event;
    return found.has_value();
  });
  return found;
}

size_t EventLog::CountOf(std::string_view event) const {
  return CountIf([&](const std::string& e) { return e == event; });
}

size_t EventLog::CountOfBeginning(std::string_view beginning) const {
  return CountIf([&](const std::string& e) { return e.starts_with(beginning); });
}

std::vector<std::string> EventLog::All() const {
  const std::lock_guard guard(lock);
  return events;
}

bool EventLog::WaitUntil(const std::function<bool()>& condition) const {
  std::unique_lock held(lock);
  return changed.wait_for(held, std::chrono::milliseconds(kTestTimeoutMs), condition);
}

size_t EventLog::CountIf(const std::function<bool(const std::string&)>& matches) const {
  const std::lock_guard guard(lock);
  return static_cast<size_t>(std::count_if(events.begin(), events.end(), matches));
}

struct RawSocket::Parts {
  // Runs what has been started until it is done or the time is over.
  bool Run(const bool* done) {
    io.restart();
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTestTimeoutMs);
    while (!*done && io.run_one_until(end) > 0) {
    }
    if (*done) return true;
    ErrorCode harmless;  // The operation ends with it.
    socket.close(harmless);
    io.restart();
    io.run();
    return false;
  }

  // More bytes, or the end.
  bool ReadSome(std::string* text) {
    char bytes[4096];
    bool done = false;
    size_t count = 0;
    ErrorCode result;
    socket.async_read_some(asio::buffer(bytes), [&](ErrorCode error, size_t size) {
      done = true;
      count = size;
      result = error;
    });
    timedOut = !Run(&done);
    text->append(bytes, count);
    return !timedOut && !result;
  }

  asio::io_context io{1};
  tcp::socket socket{io};
  bool connected = false;
  bool timedOut = false;
};

RawSocket::RawSocket(uint16_t port) : parts(std::make_unique<Parts>()) {
  ErrorCode error;
  parts->socket.connect({asio::ip::address_v4::loopback(), port}, error);
  parts->connected = !error;
}

RawSocket::~RawSocket() = default;

bool RawSocket::IsConnected() const { return parts->connected; }

bool RawSocket::Send(std::string_view bytes) {
  bool done = false;
  ErrorCode result;
  asio::async_write(parts->socket, asio::buffer(bytes), [&](ErrorCode error, size_t) {
    done = true;
    result = error;
  });
  return parts->Run(&done) && !result;
}

std::string RawSocket::ReadUntil(std::string_view text) {
  std::string all;
  while (all.find(text) == std::string::npos && parts->ReadSome(&all)) {
  }
  return all;
}

std::string RawSocket::ReadToTheEnd(bool* closed) {
  std::string all;
  while (parts->ReadSome(&all)) {
  }
  *closed = !parts->timedOut;
  return all;
}

void RawSocket::ShrinkReceiveBuffer() {
  ErrorCode harmless;  // It only takes longer to fill then.
  parts->socket.set_option(asio::socket_base::receive_buffer_size(4096), harmless);
}

std::string MakeRequest(uint16_t port, const std::string& target, const std::string& headers) {
  std::string request = "GET ";
  request += target;
  request += " HTTP/1.1\r\nHost: 127.0.0.1:";
  request += std::to_string(port);
  request += "\r\n";
  request += headers;
  request += "\r\n";
  return request;
}

std::string UpgradeHeaders() {
  return "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
}

std::string MakeFrame(uint8_t firstByte, const std::string& payload) {
  constexpr char kMask[4] = {'\x11', '\x22', '\x33', '\x44'};
  std::string frame(1, static_cast<char>(firstByte));
  if (payload.size() < 126) {
    frame += static_cast<char>(0x80 | payload.size());
  } else {
    frame += static_cast<char>(0x80 | 127);
    for (int shift = 56; shift >= 0; shift -= 8) {
      frame += static_cast<char>(uint64_t{payload.size()} >> shift);
    }
  }
  frame.append(kMask, sizeof kMask);
  for (size_t i = 0; i < payload.size(); ++i) {
    frame += static_cast<char>(payload[i] ^ kMask[i % sizeof kMask]);
  }
  return frame;
}

}  // namespace talu::loopback
