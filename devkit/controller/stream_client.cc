#include "devkit/controller/stream_client.h"

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <charconv>
#include <chrono>
#include <deque>
#include <utility>

namespace talu::controller {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;
using ErrorCode = boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr size_t kMaxMessageBytes = 80u << 20;
// Masked and written at a time.
constexpr size_t kWriteBytes = 64u << 10;
// Messages kept while a send waits; more are not read.
constexpr size_t kMaxKeptMessages = 256;

std::string NumberParameter(const char* name, int32_t value) {
  std::string parameter;
  if (value != 0) parameter.append("&").append(name).append("=").append(std::to_string(value));
  return parameter;
}

}  // namespace

std::optional<StreamAddress> ParseStreamAddress(std::string_view address) {
  constexpr std::string_view kStart = "http://127.0.0.1:";
  constexpr std::string_view kMiddle = "/?token=";
  address = address.substr(0, address.find_last_not_of(" \t\r\n") + 1);
  if (!address.starts_with(kStart)) return std::nullopt;
  address.remove_prefix(kStart.size());
  StreamAddress result;
  const auto [stop, error] =
      std::from_chars(address.data(), address.data() + address.size(), result.port);
  if (error != std::errc() || result.port == 0) return std::nullopt;
  address.remove_prefix(static_cast<size_t>(stop - address.data()));
  if (!address.starts_with(kMiddle)) return std::nullopt;
  address.remove_prefix(kMiddle.size());
  if (address.empty() || address.find_first_of("&#/? \t") != std::string_view::npos) {
    return std::nullopt;
  }
  result.token = address;
  return result;
}

Handshake MakeHandshake(const StreamAddress& address, const StreamWishes& wishes) {
  Handshake handshake;
  handshake.port = address.port;
  handshake.host = "127.0.0.1:" + std::to_string(address.port);
  handshake.target = "/stream?token=" + address.token + NumberParameter("fps", wishes.fps) +
                     NumberParameter("max", wishes.maxKbps) +
                     NumberParameter("min", wishes.minKbps) +
                     NumberParameter("control", wishes.controlOnly ? 1 : 0);
  return handshake;
}

struct StreamClient::Parts {
  // Runs until the condition holds; false when the time is over first.
  template <typename Condition>
  bool RunUntil(int64_t timeoutMs, Condition condition) {
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    io.restart();
    while (!condition()) {
      if (io.run_one_until(end) == 0 && !condition()) return false;
    }
    return true;
  }

  void ReadNext() {
    if (reading || closed || kept.size() >= kMaxKeptMessages) return;
    reading = true;
    stream.async_read(buffer, [this](ErrorCode error, size_t) {
      reading = false;
      if (error) {
        closed = true;
        return;
      }
      ReceivedMessage message;
      message.text = stream.got_text();
      const auto data = static_cast<const uint8_t*>(buffer.data().data());
      message.bytes.assign(data, data + buffer.size());
      buffer.consume(buffer.size());
      kept.push_back(std::move(message));
      ReadNext();
    });
  }

  bool Send(const void* data, size_t size, bool text, int64_t timeoutMs) {
    if (closed || !open) return false;
    ReadNext();
    stream.text(text);
    bool done = false;
    bool failed = false;
    stream.async_write(asio::buffer(data, size), [&](ErrorCode error, size_t) {
      done = true;
      failed = bool(error);
    });
    if (RunUntil(timeoutMs, [&] { return done; })) return !failed;
    // The write still refers to the caller's bytes: it must not outlive this call.
    Abort();
    RunUntil(timeoutMs, [&] { return done; });
    return false;
  }

  void Abort() {
    closed = true;
    ErrorCode harmless;  // It is gone either way.
    stream.next_layer().close(harmless);
  }

  asio::io_context io{1};
  // Without it a wait would end as soon as nothing is under way.
  asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()};
  websocket::stream<tcp::socket, false> stream{io};
  beast::flat_buffer buffer;
  websocket::response_type response;
  unsigned httpStatus = 0;
  std::deque<ReceivedMessage> kept;
  std::atomic<bool> woken{false};
  bool open = false;
  bool reading = false;
  bool closed = false;
};

StreamClient::StreamClient() : parts(std::make_unique<Parts>()) {}

StreamClient::~StreamClient() = default;

bool StreamClient::Connect(const Handshake& handshake, int64_t timeoutMs, std::string* complaint) {
  Parts& p = *parts;
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), handshake.port);
  bool done = false;
  ErrorCode result;
  const auto note = [&](ErrorCode error) {
    result = error;
    done = true;
  };
  p.stream.next_layer().async_connect(endpoint, note);
  if (!p.RunUntil(timeoutMs, [&] { return done; })) {
    p.Abort();
    p.RunUntil(timeoutMs, [&] { return done; });
    *complaint = "no connection in time";
    return false;
  }
  if (result) {
    *complaint = result.message();
    return false;
  }
  ErrorCode harmless;  // Only slower without.
  p.stream.next_layer().set_option(tcp::no_delay(true), harmless);
  p.stream.read_message_max(kMaxMessageBytes);
  p.stream.auto_fragment(false);
  p.stream.write_buffer_bytes(kWriteBytes);
  p.stream.set_option(websocket::stream_base::decorator([&](websocket::request_type& request) {
    if (!handshake.origin.empty()) request.set(http::field::origin, handshake.origin);
  }));
  done = false;
  p.stream.async_handshake(p.response, handshake.host, handshake.target, note);
  if (!p.RunUntil(timeoutMs, [&] { return done; })) {
    p.Abort();
    p.RunUntil(timeoutMs, [&] { return done; });
    *complaint = "no answer in time";
    return false;
  }
  if (!result || result == websocket::error::upgrade_declined) {
    p.httpStatus = p.response.result_int();
  }
  if (result) {
    *complaint = HttpStatus() != 0 ? "refused with HTTP status " + std::to_string(HttpStatus())
                                   : result.message();
    return false;
  }
  p.open = true;
  return true;
}

unsigned StreamClient::HttpStatus() const { return parts->httpStatus; }

ReceiveResult StreamClient::Receive(ReceivedMessage* message, int64_t timeoutMs) {
  Parts& p = *parts;
  if (!p.open) return ReceiveResult::kClosed;
  p.ReadNext();
  const bool inTime =
      p.RunUntil(timeoutMs, [&] { return !p.kept.empty() || p.closed || p.woken.load(); });
  if (!p.kept.empty()) {
    *message = std::move(p.kept.front());
    p.kept.pop_front();
    return ReceiveResult::kMessage;
  }
  if (p.closed) return ReceiveResult::kClosed;
  p.woken = false;
  return inTime ? ReceiveResult::kWoken : ReceiveResult::kTimeout;
}

bool StreamClient::SendText(std::string_view text, int64_t timeoutMs) {
  return parts->Send(text.data(), text.size(), true, timeoutMs);
}

bool StreamClient::SendBinary(std::span<const uint8_t> bytes, int64_t timeoutMs) {
  return parts->Send(bytes.data(), bytes.size(), false, timeoutMs);
}

void StreamClient::Close(int64_t timeoutMs) {
  Parts& p = *parts;
  if (!p.open || p.closed) return;
  bool done = false;
  p.stream.async_close(websocket::close_code::normal, [&](ErrorCode) { done = true; });
  // What still comes before the other side's closing frame has to be read away; its own read does
  // that.
  if (!p.RunUntil(timeoutMs, [&] { return done; })) {
    p.Abort();
    p.RunUntil(timeoutMs, [&] { return done; });
  }
  p.closed = true;
}

uint16_t StreamClient::CloseCode() const {
  return static_cast<uint16_t>(parts->stream.reason().code);
}

void StreamClient::Wake() {
  parts->woken = true;
  asio::post(parts->io, [] {});
}

}  // namespace talu::controller
