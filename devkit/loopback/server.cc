#include "devkit/loopback/server.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "devkit/loopback/platform.h"
#include "devkit/loopback/request_check.h"
#include "devkit/loopback/viewer_files.h"
#include "devkit/loopback/viewer_message.h"

namespace talu::loopback {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;
using ErrorCode = boost::system::error_code;

constexpr uint32_t kMaxHeaderBytes = 8192;
constexpr size_t kReadBytes = 32u << 10;
// What the system holds for a viewer that does not read: more would only make its picture older.
constexpr int kSocketSendBytes = 256 * 1024;
// How long viewers have to hear that the host ends.
constexpr auto kFarewell = std::chrono::milliseconds(300);
// A shut connection is read on so that the other side sees the answer before the end.
constexpr auto kLinger = std::chrono::seconds(2);
constexpr size_t kLingerBytes = 64u << 10;
constexpr int kLoggedRefusals = 20;

}  // namespace

// What the host's threads see of the viewers.
class Audience {
 public:
  Audience(uint32_t firstWidth, uint32_t firstHeight) : width(firstWidth), height(firstHeight) {}

  // Greets a viewer and lets it take part. A subscriber replaces the one before.
  void Join(const std::shared_ptr<Outbox>& outbox, bool controlOnly, const std::string& instance) {
    const std::lock_guard guard(lock);
    // A fresh outbox has room.
    (void)outbox->PushControl(BuildHelloEvent(instance, width, height, !controlOnly), true);
    if (controlOnly) {
      controllers.push_back(outbox);
      return;
    }
    if (subscriber) {
      subscriber->StopVideo();
      // A viewer that reads nothing need not know.
      (void)subscriber->PushControl(BuildReplacedEvent(), true);
    }
    subscriber = outbox;
  }

  // True when it was the subscriber.
  bool Leave(const std::shared_ptr<Outbox>& outbox) {
    const std::lock_guard guard(lock);
    std::erase(controllers, outbox);
    if (subscriber != outbox) return false;
    subscriber.reset();
    return true;
  }

  bool IsSubscriber(const std::shared_ptr<Outbox>& outbox) const {
    const std::lock_guard guard(lock);
    return subscriber == outbox;
  }

  void SendVideo(std::span<const uint8_t> unit, VideoHeader header) {
    std::shared_ptr<Outbox> to;
    {
      const std::lock_guard guard(lock);
      header.sequence = nextSequence++;
      to = subscriber;
    }
    if (to) to->PushVideo(BuildVideoMessage(header, unit), header.keyFrame);
  }

  SendResult SendControl(std::span<const uint8_t> body) {
    const Payload message = BuildHostControlMessage(body);
    SendResult result = SendResult::kNoViewer;
    for (const std::shared_ptr<Outbox>& to : Members()) {
      if (!to->PushControl(message, false)) {
        result = SendResult::kTooSlow;
      } else if (result == SendResult::kNoViewer) {
        result = SendResult::kSent;
      }
    }
    return result;
  }

  void SetScreen(uint32_t newWidth, uint32_t newHeight) {
    {
      const std::lock_guard guard(lock);
      width = newWidth;
      height = newHeight;
    }
    const Payload event = BuildScreenEvent(newWidth, newHeight);
    // A viewer too slow for it sees the size in the video.
    for (const std::shared_ptr<Outbox>& to : Members()) (void)to->PushControl(event, true);
  }

 private:
  std::vector<std::shared_ptr<Outbox>> Members() const {
    const std::lock_guard guard(lock);
    std::vector<std::shared_ptr<Outbox>> members = controllers;
    if (subscriber) members.push_back(subscriber);
    return members;
  }

  mutable std::mutex lock;
  std::shared_ptr<Outbox> subscriber;
  std::vector<std::shared_ptr<Outbox>> controllers;
  uint32_t width;
  uint32_t height;
  uint32_t nextSequence = 0;
};

class Connection;
using ConnectionPtr = std::shared_ptr<Connection>;

struct Server::Parts {
  Parts(ServerOptions serverOptions, ServerEvents serverEvents)
      : options(std::move(serverOptions)),
        events(std::move(serverEvents)),
        audience(options.width, options.height) {}

  void AcceptNext();
  void Admit(tcp::socket socket);
  void MakeRoom();
  void Remove(const ConnectionPtr& connection);
  void BeginFarewell();
  void LogRefusal(const std::string& reason);

  ServerOptions options;
  ServerEvents events;
  Audience audience;
  Admission admission;

  asio::io_context io{1};
  tcp::acceptor acceptor{io};
  asio::steady_timer farewell{io};
  asio::steady_timer acceptPause{io};
  std::list<ConnectionPtr> connections;
  size_t receivingBytes = 0;
  int refusals = 0;
  bool stopping = false;
  std::thread thread;
};

// One accepted socket: a request, then a file or the stream. Network thread; the operations in
// flight keep it alive.
class Connection {
 public:
  static ConnectionPtr Make(Server::Parts* serverParts, tcp::socket socket) {
    ConnectionPtr made(new Connection(serverParts, std::move(socket)));
    made->self = made;
    return made;
  }

  void ReadRequest();
  void Resume();
  void SayBye();
  // Ends it at once.
  void End();

  // Turned away first when there are too many.
  bool IsBeforeItsRequest() const { return !outbox; }
  bool IsSubscriber() const { return outbox && parts->audience.IsSubscriber(outbox); }

 private:
  Connection(Server::Parts* serverParts, tcp::socket socket)
      : parts(serverParts), stream(std::move(socket)), deadline(parts->io) {}

  ConnectionPtr Self() const { return self.lock(); }
  tcp::socket& Socket() { return stream.next_layer(); }
  std::chrono::milliseconds RequestTimeout() const {
    return std::chrono::milliseconds(parts->options.requestTimeoutMs);
  }

  void EndAfter(std::chrono::milliseconds delay);
  void WatchForSilence();
  void OnSilence();
  void OnRequest(ErrorCode error);
  void ServeFile(const std::string& path);
  void Answer(http::status status, std::string body, const char* contentType);
  void OnAnswered(ErrorCode error);
  void ReadToTheEnd();
  void OpenStream(const RequestDecision& decision);
  void OnStreamOpen(ErrorCode error);
  void ReadMessage();
  void OnRead(ErrorCode error, size_t bytes);
  bool HandleMessage();
  void HandleCommand(const ViewerCommand& command);
  void Close(websocket::close_code code, const char* reason);
  void Pump();
  void OnWritten(ErrorCode error);

  Server::Parts* const parts;
  std::weak_ptr<Connection> self;
  websocket::stream<tcp::socket, false> stream;
  asio::steady_timer deadline;
  beast::flat_buffer requestBuffer{size_t{kMaxHeaderBytes} * 2};
  http::request_parser<http::empty_body> parser;
  http::response<http::string_body> response;
  std::unique_ptr<http::response_serializer<http::string_body>> serializer;
  std::vector<char> readBuffer;
  size_t lingeredBytes = 0;

  std::shared_ptr<Outbox> outbox;
  SdkStreamRequest request{};
  bool controlOnly = false;
  std::string received;
  Payload writing;
  bool open = false;
  bool heard = false;
  bool pinged = false;
  bool pingUnderWay = false;
  bool readPaused = false;
  bool byeWaits = false;
  bool closing = false;
  bool ended = false;
};

void Server::Parts::AcceptNext() {
  acceptor.async_accept([this](ErrorCode error, tcp::socket socket) {
    if (stopping) return;
    if (!error) {
      Admit(std::move(socket));
      AcceptNext();
      return;
    }
    // Out of sockets or memory: it will pass, and trying at once again would only spin.
    acceptPause.expires_after(std::chrono::milliseconds(100));
    acceptPause.async_wait([this](ErrorCode waitError) {
      if (!waitError && !stopping) AcceptNext();
    });
  });
}

void Server::Parts::Admit(tcp::socket socket) {
  if (connections.size() >= options.maxConnections) MakeRoom();
  ErrorCode harmless;  // Without these the stream is only slower.
  socket.set_option(tcp::no_delay(true), harmless);
  socket.set_option(asio::socket_base::send_buffer_size(kSocketSendBytes), harmless);
  connections.push_back(Connection::Make(this, std::move(socket)));
  connections.back()->ReadRequest();
}

// The oldest that has not even asked for anything goes, then the oldest that is not the subscriber.
void Server::Parts::MakeRoom() {
  auto victim = std::find_if(connections.begin(), connections.end(),
                             [](const ConnectionPtr& c) { return c->IsBeforeItsRequest(); });
  if (victim == connections.end()) {
    victim = std::find_if(connections.begin(), connections.end(),
                          [](const ConnectionPtr& c) { return !c->IsSubscriber(); });
  }
  if (victim == connections.end()) return;
  const ConnectionPtr kept = *victim;
  kept->End();
}

void Server::Parts::Remove(const ConnectionPtr& connection) {
  connections.remove(connection);
  if (stopping && connections.empty()) io.stop();
}

void Server::Parts::BeginFarewell() {
  stopping = true;
  ErrorCode harmless;  // Nothing is accepted any more either way.
  acceptor.close(harmless);
  const std::list<ConnectionPtr> listeners = connections;
  for (const ConnectionPtr& connection : listeners) connection->SayBye();
  if (connections.empty()) {
    io.stop();
    return;
  }
  farewell.expires_after(kFarewell);
  farewell.async_wait([this](ErrorCode) {
    const std::list<ConnectionPtr> deaf = connections;
    for (const ConnectionPtr& connection : deaf) connection->End();
    io.stop();
  });
}

// A page in a loop, or somebody guessing, must not fill the host's log.
void Server::Parts::LogRefusal(const std::string& reason) {
  if (refusals >= kLoggedRefusals) return;
  ++refusals;
  events.onLog("viewer refused: " + reason +
               (refusals == kLoggedRefusals ? " (further ones are not logged)" : ""));
}

void Connection::ReadRequest() {
  parser.header_limit(kMaxHeaderBytes);
  EndAfter(RequestTimeout());
  http::async_read(Socket(), requestBuffer, parser,
                   [me = Self()](ErrorCode error, size_t) { me->OnRequest(error); });
}

void Connection::OnRequest(ErrorCode error) {
  if (ended) return;
  if (error == http::error::header_limit || error == http::error::buffer_overflow) {
    Answer(http::status::request_header_fields_too_large, "too long\n", "text/plain");
    return;
  }
  if (error.category() == make_error_code(http::error::bad_method).category() &&
      error != http::error::end_of_stream && error != http::error::partial_message) {
    Answer(http::status::bad_request, "not understood\n", "text/plain");
    return;
  }
  if (error) {
    End();
    return;
  }
  const auto& message = parser.get();
  RequestFacts facts;
  facts.method = message.method_string();
  facts.target = message.target();
  for (const auto& field : message) {
    if (field.name() == http::field::host) facts.hosts.push_back(field.value());
    if (field.name() == http::field::origin) facts.origins.push_back(field.value());
    if (field.name() == http::field::cookie) facts.cookies.push_back(field.value());
  }
  facts.webSocketUpgrade = websocket::is_upgrade(message);
  RequestDecision decision = CheckRequest(facts, parts->admission);
  // A client that speaks before the handshake is done is no browser and no controller of ours.
  if (decision.verdict == RequestVerdict::kOpenStream && requestBuffer.size() > 0) {
    decision = RequestDecision{};
    decision.status = 400;
    decision.reason = "frames before the handshake";
  }
  switch (decision.verdict) {
    case RequestVerdict::kServeFile:
      ServeFile(decision.path);
      break;
    case RequestVerdict::kOpenStream:
      OpenStream(decision);
      break;
    case RequestVerdict::kRefuse:
      parts->LogRefusal(decision.reason);
      Answer(http::int_to_status(static_cast<unsigned>(decision.status)), decision.reason + "\n",
             "text/plain");
      break;
  }
}

void Connection::ServeFile(const std::string& path) {
  std::optional<ViewerFile> file = ReadViewerFile(parts->options.viewerFolder, path);
  if (!file) {
    Answer(http::status::not_found, "no such file: " + path + "\n", "text/plain");
    return;
  }
  response.set(http::field::set_cookie,
               TokenCookie(parts->admission) + "; Path=/; HttpOnly; SameSite=Strict");
  Answer(http::status::ok, std::move(file->content), file->contentType);
}

void Connection::Answer(http::status status, std::string body, const char* contentType) {
  response.result(status);
  response.version(11);
  response.keep_alive(false);
  response.set(http::field::content_type, contentType);
  response.set(http::field::cache_control, "no-store");
  response.set("X-Content-Type-Options", "nosniff");
  response.set("X-Frame-Options", "DENY");
  response.set("Cross-Origin-Resource-Policy", "same-origin");
  response.set("Referrer-Policy", "no-referrer");
  response.body() = std::move(body);
  response.prepare_payload();
  if (parser.is_header_done() && parser.get().method() == http::verb::head) response.body().clear();
  serializer = std::make_unique<http::response_serializer<http::string_body>>(response);
  EndAfter(RequestTimeout());
  http::async_write(Socket(), *serializer,
                    [me = Self()](ErrorCode error, size_t) { me->OnAnswered(error); });
}

void Connection::OnAnswered(ErrorCode error) {
  if (ended) return;
  if (error) {
    End();
    return;
  }
  ErrorCode harmless;  // Gone already: the read says so.
  Socket().shutdown(tcp::socket::shutdown_send, harmless);
  EndAfter(kLinger);
  readBuffer.resize(kReadBytes);
  ReadToTheEnd();
}

void Connection::ReadToTheEnd() {
  Socket().async_read_some(asio::buffer(readBuffer), [me = Self()](ErrorCode error, size_t bytes) {
    me->lingeredBytes += bytes;
    if (error || me->ended || me->lingeredBytes > kLingerBytes) {
      me->End();
      return;
    }
    me->ReadToTheEnd();
  });
}

void Connection::OpenStream(const RequestDecision& decision) {
  if (!decision.controlOnly && !parts->events.takesSubscriptions()) {
    Answer(http::status::service_unavailable, "the host is busy\n", "text/plain");
    return;
  }
  request = decision.request;
  controlOnly = decision.controlOnly;
  EndAfter(RequestTimeout());
  stream.read_message_max(kMaxBodyBytes + 2 + kMaxLabelBytes);
  stream.auto_fragment(false);
  stream.async_accept(parser.get(), [me = Self()](ErrorCode error) { me->OnStreamOpen(error); });
}

void Connection::OnStreamOpen(ErrorCode error) {
  if (ended) return;
  if (error || parts->stopping) {
    End();
    return;
  }
  open = true;
  readBuffer.resize(kReadBytes);
  outbox = std::make_shared<Outbox>(
      parts->options.outbox,
      [executor = parts->io.get_executor(), weak = self] {
        asio::post(executor, [weak] {
          if (const ConnectionPtr me = weak.lock()) me->Pump();
        });
      },
      parts->events.onKeyFrameRequest);
  parts->audience.Join(outbox, controlOnly, parts->options.instance);
  if (controlOnly) {
    parts->events.onLog("controller connected");
  } else {
    parts->events.onLog("viewer connected, asks for fps=" + std::to_string(request.fps) +
                        " max=" + std::to_string(request.maxKbps) +
                        " min=" + std::to_string(request.minKbps));
    parts->events.onSubscribed(request);
  }
  stream.control_callback([this](websocket::frame_type, beast::string_view) { heard = true; });
  WatchForSilence();
  ReadMessage();
}

void Connection::EndAfter(std::chrono::milliseconds delay) {
  deadline.expires_after(delay);
  deadline.async_wait([me = Self()](ErrorCode error) {
    if (!error) me->End();
  });
}

void Connection::WatchForSilence() {
  deadline.expires_after(std::chrono::milliseconds(parts->options.idleTimeoutMs / 2));
  deadline.async_wait([me = Self()](ErrorCode error) {
    if (!error && !me->closing) me->OnSilence();
  });
}

// Called every half idle time: a viewer that said nothing is asked, one that does not answer goes.
void Connection::OnSilence() {
  if (ended) return;
  // While the host is not ready to take more, a viewer's answer would not be read.
  if (heard || readPaused) {
    heard = false;
    pinged = false;
  } else if (std::exchange(pinged, true)) {
    End();
    return;
  } else if (!pingUnderWay) {
    pingUnderWay = true;
    stream.async_ping({}, [me = Self()](ErrorCode) { me->pingUnderWay = false; });
  }
  WatchForSilence();
}

void Connection::ReadMessage() {
  stream.async_read_some(asio::buffer(readBuffer), [me = Self()](ErrorCode error, size_t bytes) {
    me->OnRead(error, bytes);
  });
}

void Connection::OnRead(ErrorCode error, size_t bytes) {
  if (ended) return;
  if (error) {
    // A frame against the rules has been answered with its closing code already.
    End();
    return;
  }
  heard = true;
  if (closing) {
    // Until the closing frame comes, all else is of no interest.
    ReadMessage();
    return;
  }
  const size_t total = parts->receivingBytes + bytes + parts->events.waitingControlBytes();
  if (total > parts->options.inboundBytes) {
    Close(websocket::close_code::try_again_later, "too much at once");
    return;
  }
  if (stream.got_text() && received.size() + bytes > kMaxCommandBytes) {
    Close(websocket::close_code::policy_error, "no such command");
    return;
  }
  received.append(readBuffer.data(), bytes);
  parts->receivingBytes += bytes;
  if (stream.is_message_done() && !HandleMessage()) return;
  ReadMessage();
}

// True when the next one may be read.
bool Connection::HandleMessage() {
  std::string message = std::exchange(received, {});
  parts->receivingBytes -= message.size();
  if (stream.got_text()) {
    const std::optional<ViewerCommand> command = ParseViewerCommand(message);
    if (!command) {
      Close(websocket::close_code::policy_error, "no such command");
      return false;
    }
    HandleCommand(*command);
    return true;
  }
  std::optional<ViewerControl> control =
      ParseViewerControl({reinterpret_cast<const uint8_t*>(message.data()), message.size()});
  if (!control) {
    Close(websocket::close_code::policy_error, "no such message");
    return false;
  }
  readPaused =
      !parts->events.onControl(std::move(control->label), std::move(message), control->bodyOffset);
  return !readPaused;
}

void Connection::HandleCommand(const ViewerCommand& command) {
  // A replaced viewer may have sent it before it knew.
  if (!controlOnly && !IsSubscriber()) return;
  switch (command.kind) {
    case ViewerCommandKind::kProfile:
      parts->events.onProfile(command.profile);
      break;
    case ViewerCommandKind::kKeyframe:
      parts->events.onKeyFrameRequest();
      break;
    case ViewerCommandKind::kScreenInfo:
      parts->events.onScreenInfoRequest();
      break;
  }
}

void Connection::Resume() {
  if (!std::exchange(readPaused, false) || ended) return;
  ReadMessage();
}

void Connection::Close(websocket::close_code code, const char* reason) {
  if (std::exchange(closing, true)) return;
  EndAfter(RequestTimeout());
  stream.async_close({code, reason}, [me = Self()](ErrorCode) { me->End(); });
}

void Connection::SayBye() {
  if (!open || closing) {
    End();
    return;
  }
  outbox->StopVideo();
  byeWaits = true;
  // A viewer with a full box learns it from the closing frame.
  (void)outbox->PushControl(BuildByeEvent(), true);
  Pump();
}

void Connection::Pump() {
  if (ended || closing || writing) return;
  std::optional<OutgoingMessage> message = outbox->Take();
  if (!message) {
    if (byeWaits) Close(websocket::close_code::going_away, "the host ends");
    return;
  }
  writing = std::move(message->payload);
  stream.text(message->text);
  stream.async_write(asio::buffer(*writing),
                     [me = Self()](ErrorCode error, size_t) { me->OnWritten(error); });
}

void Connection::OnWritten(ErrorCode error) {
  writing.reset();
  if (error) {
    End();
    return;
  }
  Pump();
}

void Connection::End() {
  if (std::exchange(ended, true)) return;
  const ConnectionPtr kept = Self();
  parts->receivingBytes -= received.size();
  deadline.cancel();
  ErrorCode harmless;  // It is gone either way.
  // Wine leaves a write that waits for room alone when its socket is closed, so it is called off
  // before. For the same reason Beast's own time-outs, which only close, are not used.
  Socket().cancel(harmless);
  Socket().close(harmless);
  if (open && parts->audience.Leave(outbox)) {
    parts->events.onLog("viewer disconnected, units dropped on the way: " +
                        std::to_string(outbox->DroppedUnits()));
    parts->events.onUnsubscribed();
  }
  parts->Remove(kept);
}

Server::Server(ServerOptions serverOptions, ServerEvents serverEvents)
    : parts(std::make_unique<Parts>(std::move(serverOptions), std::move(serverEvents))) {}

// Only a process without memory throws here, and it may end.
Server::~Server() { Stop(); }  // NOLINT(bugprone-exception-escape)

bool Server::Start(std::string* complaint) {
  ErrorCode error;
  const auto failed = [&](const char* step) {
    if (error) *complaint = std::string(step) + ": " + error.message();
    return bool(error);
  };
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), parts->options.port);
  parts->acceptor.open(endpoint.protocol(), error);
  if (failed("socket")) return false;
#ifndef _WIN32
  // Windows has no waiting time after a close, and the option would let others take the port over.
  parts->acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (failed("reuse_address")) return false;
#endif
  parts->acceptor.bind(endpoint, error);
  if (failed("bind")) return false;
  parts->acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (failed("listen")) return false;
  const tcp::endpoint bound = parts->acceptor.local_endpoint(error);
  if (failed("local address")) return false;
  parts->admission = {parts->options.token, bound.port()};
  parts->AcceptNext();
  try {
    parts->thread = std::thread([this] { parts->io.run(); });
  } catch (const std::system_error& failure) {
    *complaint = std::string("thread: ") + failure.what();
    return false;
  }
  return true;
}

void Server::Stop() {
  if (!parts->thread.joinable()) return;
  asio::post(parts->io, [this] { parts->BeginFarewell(); });
  parts->thread.join();
}

uint16_t Server::Port() const { return parts->admission.port; }

std::string Server::Address() const {
  return "http://127.0.0.1:" + std::to_string(Port()) + "/?token=" + parts->admission.token;
}

void Server::SendVideo(std::span<const uint8_t> unit, bool keyFrame, int64_t timestampMs) {
  parts->audience.SendVideo(unit, {keyFrame, 0, timestampMs, UnixTimeUs()});
}

SendResult Server::SendControl(std::span<const uint8_t> body) {
  return parts->audience.SendControl(body);
}

void Server::SetScreen(uint32_t width, uint32_t height) {
  parts->audience.SetScreen(width, height);
}

void Server::ResumeReading() {
  asio::post(parts->io, [this] {
    const std::list<ConnectionPtr> paused = parts->connections;
    for (const ConnectionPtr& connection : paused) connection->Resume();
  });
}

}  // namespace talu::loopback
