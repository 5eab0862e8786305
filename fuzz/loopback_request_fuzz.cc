// Who gets into the loopback library's server. An input is five lines: target, Host, Origin, Cookie
// and "upgrade" where a WebSocket is asked for.
#include "devkit/loopback/request_check.h"

#include "fuzz/checks.h"

namespace talu::loopback {
namespace {

bool Holds(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

void CheckDecision(const RequestFacts& facts, const Admission& admission) {
  const RequestDecision decision = CheckRequest(facts, admission);
  if (decision.verdict == RequestVerdict::kRefuse) {
    Check(decision.status >= 400 && !decision.reason.empty(), "a refusal says why");
    return;
  }
  Check(facts.hosts.size() == 1 && facts.hosts[0].ends_with(":8123"), "only the own Host gets in");
  Check(facts.origins.empty() || facts.origins[0].ends_with(":8123"),
        "only the own Origin gets in");
  const bool tokenInAddress = Holds(facts.target, "token=" + admission.token);
  const bool tokenInCookie = !facts.cookies.empty() && Holds(facts.cookies[0], admission.token);
  Check(tokenInAddress || tokenInCookie, "nobody gets in without the token");
  if (decision.verdict == RequestVerdict::kOpenStream) {
    Check(tokenInAddress && facts.webSocketUpgrade, "the stream needs the token in its address");
    Check(decision.request.width == 0 && decision.request.height == 0, "sizes are never asked for");
  }
}

}  // namespace
}  // namespace talu::loopback

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  using namespace talu;
  static const loopback::Admission admission{"token-1", 8123};
  std::string_view rest = TextOf(bytes, size);
  loopback::RequestFacts facts;
  facts.method = "GET";
  facts.target = TakeUntil(rest, '\n');
  facts.hosts.push_back(TakeUntil(rest, '\n'));
  if (const std::string_view origin = TakeUntil(rest, '\n'); !origin.empty()) {
    facts.origins.push_back(origin);
  }
  if (const std::string_view cookie = TakeUntil(rest, '\n'); !cookie.empty()) {
    facts.cookies.push_back(cookie);
  }
  facts.webSocketUpgrade = rest == "upgrade";
  loopback::CheckDecision(facts, admission);
  return 0;
}
