// Who gets in: judges one HTTP request by its address, its headers and the run's token.
//
// A page of another origin must not reach the desktop, not even through a name of its own that
// resolves to 127.0.0.1; that is what the Host and Origin checks are for. Portable, any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/sdk_records.h"

namespace talu::loopback {

struct Admission {
  std::string token;
  uint16_t port = 0;
};

// The parts of a request that decide. Headers appear as often as they came.
struct RequestFacts {
  std::string_view method;
  std::string_view target;
  std::vector<std::string_view> hosts;
  std::vector<std::string_view> origins;
  std::vector<std::string_view> cookies;
  bool webSocketUpgrade = false;
};

enum class RequestVerdict { kServeFile, kOpenStream, kRefuse };

struct RequestDecision {
  RequestVerdict verdict = RequestVerdict::kRefuse;
  // HTTP status and reason of a refusal.
  int status = 403;
  std::string reason;
  // Of kServeFile: relative to the viewer's folder, "index.html" for the bare address.
  std::string path;
  // Of kOpenStream. Width and height are 0.
  SdkStreamRequest request{};
  bool controlOnly = false;
};

// The page and the stream need the token in their address. The page's other files are let in by the
// cookie that the page came with too, so that it can name them without the token.
RequestDecision CheckRequest(const RequestFacts& facts, const Admission& admission);

// The cookie that lets a page load its files: name and value.
std::string TokenCookie(const Admission& admission);

// Letters, digits, '-' and '_', 1 to 128 of them: what can stand in an address as it is.
bool IsUsableToken(std::string_view token);

// 32 random hexadecimal digits.
std::string RandomToken();

}  // namespace talu::loopback
