#include "devkit/loopback/request_check.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <random>
#include <utility>

#include "devkit/loopback/viewer_message.h"

namespace talu::loopback {
namespace {

constexpr size_t kMaxTargetBytes = 2048;
constexpr size_t kMaxTokenBytes = 128;
constexpr int kForbidden = 403;
constexpr int kBadRequest = 400;
constexpr int kMethodNotAllowed = 405;
constexpr int kUpgradeRequired = 426;

RequestDecision Refuse(int status, std::string reason) {
  RequestDecision decision;
  decision.status = status;
  decision.reason = std::move(reason);
  return decision;
}

// The first piece up to the separator; what follows it stays in rest.
std::string_view TakePiece(std::string_view* rest, char separator) {
  const size_t end = rest->find(separator);
  const std::string_view piece = rest->substr(0, end);
  rest->remove_prefix(end == std::string_view::npos ? rest->size() : end + 1);
  return piece;
}

struct Parameter {
  std::string_view name;
  std::string_view value;
};

std::vector<Parameter> SplitQuery(std::string_view query) {
  std::vector<Parameter> parameters;
  while (!query.empty()) {
    std::string_view value = TakePiece(&query, '&');
    const std::string_view name = TakePiece(&value, '=');
    parameters.push_back({name, value});
  }
  return parameters;
}

// The time taken tells nothing about how much of a guess was right.
bool SameSecret(std::string_view given, std::string_view secret) {
  if (given.size() != secret.size()) return false;
  unsigned difference = 0;
  for (size_t i = 0; i < secret.size(); ++i) {
    difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(secret[i]);
  }
  return difference == 0;
}

bool IsOwnAuthority(std::string_view authority, uint16_t port) {
  const size_t colon = authority.find(':');
  const std::string_view name = authority.substr(0, colon);
  return (name == "127.0.0.1" || name == "localhost") && colon != std::string_view::npos &&
         authority.substr(colon + 1) == std::to_string(port);
}

bool IsOwnOrigin(std::string_view origin, uint16_t port) {
  constexpr std::string_view kScheme = "http://";
  return origin.starts_with(kScheme) && IsOwnAuthority(origin.substr(kScheme.size()), port);
}

enum class TokenState { kMissing, kRight, kWrong, kRepeated };

TokenState JudgeToken(const std::vector<Parameter>& parameters, const std::string& token) {
  TokenState state = TokenState::kMissing;
  for (const Parameter& parameter : parameters) {
    if (parameter.name != "token") continue;
    if (state != TokenState::kMissing) return TokenState::kRepeated;
    state = SameSecret(parameter.value, token) ? TokenState::kRight : TokenState::kWrong;
  }
  return state;
}

bool CarriesCookie(const std::vector<std::string_view>& cookies, const Admission& admission) {
  const std::string wanted = TokenCookie(admission);
  for (std::string_view header : cookies) {
    while (!header.empty()) {
      std::string_view cookie = TakePiece(&header, ';');
      cookie.remove_prefix(std::min(cookie.find_first_not_of(' '), cookie.size()));
      if (SameSecret(cookie, wanted)) return true;
    }
  }
  return false;
}

const char* TokenComplaint(TokenState state) {
  switch (state) {
    case TokenState::kWrong:
      return "wrong token";
    case TokenState::kRepeated:
      return "more than one token";
    default:
      return "no token";
  }
}

// Fills one number of the request; false when it is no number or comes twice.
bool ReadNumber(const std::vector<Parameter>& parameters, std::string_view name, int32_t* value) {
  bool seen = false;
  for (const Parameter& parameter : parameters) {
    if (parameter.name != name) continue;
    const std::optional<int32_t> number = ParseInt32(parameter.value);
    if (seen || !number) return false;
    *value = *number;
    seen = true;
  }
  return true;
}

RequestDecision DecideStream(const RequestFacts& facts, const std::vector<Parameter>& parameters) {
  if (!facts.webSocketUpgrade) return Refuse(kUpgradeRequired, "the stream is a WebSocket");
  RequestDecision decision;
  int32_t controlOnly = 0;
  if (!ReadNumber(parameters, "fps", &decision.request.fps) ||
      !ReadNumber(parameters, "max", &decision.request.maxKbps) ||
      !ReadNumber(parameters, "min", &decision.request.minKbps) ||
      !ReadNumber(parameters, "control", &controlOnly)) {
    return Refuse(kBadRequest, "fps, max, min and control are whole numbers, each given once");
  }
  decision.controlOnly = controlOnly != 0;
  decision.verdict = RequestVerdict::kOpenStream;
  return decision;
}

RequestDecision DecideFile(const RequestFacts& facts, std::string_view path) {
  if (facts.webSocketUpgrade) return Refuse(kBadRequest, "no WebSocket at this address");
  if (facts.method != "GET" && facts.method != "HEAD") {
    return Refuse(kMethodNotAllowed, "files are only read");
  }
  RequestDecision decision;
  decision.path = path == "/" ? "index.html" : std::string(path.substr(1));
  decision.verdict = RequestVerdict::kServeFile;
  return decision;
}

}  // namespace

RequestDecision CheckRequest(const RequestFacts& facts, const Admission& admission) {
  if (facts.hosts.size() != 1 || !IsOwnAuthority(facts.hosts[0], admission.port)) {
    return Refuse(kForbidden, "foreign Host");
  }
  if (facts.origins.size() > 1 ||
      (facts.origins.size() == 1 && !IsOwnOrigin(facts.origins[0], admission.port))) {
    return Refuse(kForbidden, "foreign Origin");
  }
  if (facts.target.size() > kMaxTargetBytes || !facts.target.starts_with('/')) {
    return Refuse(kBadRequest, "unusable address");
  }
  std::string_view query = facts.target;
  const std::string_view path = TakePiece(&query, '?');
  const std::vector<Parameter> parameters = SplitQuery(query);
  const TokenState token = JudgeToken(parameters, admission.token);
  const bool mayUseCookie = path != "/" && path != "/index.html" && path != "/stream";
  const bool known =
      token == TokenState::kRight ||
      (token == TokenState::kMissing && mayUseCookie && CarriesCookie(facts.cookies, admission));
  if (!known) return Refuse(kForbidden, TokenComplaint(token));
  return path == "/stream" ? DecideStream(facts, parameters) : DecideFile(facts, path);
}

std::string TokenCookie(const Admission& admission) {
  // Cookies do not tell ports apart; the name does.
  return "tcar_" + std::to_string(admission.port) + "=" + admission.token;
}

bool IsUsableToken(std::string_view token) {
  constexpr std::string_view kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  return !token.empty() && token.size() <= kMaxTokenBytes &&
         token.find_first_not_of(kAllowed) == std::string_view::npos;
}

std::string RandomToken() {
  std::random_device source;
  std::string token;
  for (int i = 0; i < 4; ++i) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(source()));
    token += digits;
  }
  return token;
}

}  // namespace talu::loopback
