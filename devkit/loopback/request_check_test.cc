#include "devkit/loopback/request_check.h"

#include <gtest/gtest.h>

#include <set>

namespace talu::loopback {
namespace {

RequestFacts Facts(std::string_view target) {
  RequestFacts facts;
  facts.method = "GET";
  facts.target = target;
  facts.hosts = {"127.0.0.1:8123"};
  return facts;
}

RequestFacts StreamFacts(std::string_view target) {
  RequestFacts facts = Facts(target);
  facts.webSocketUpgrade = true;
  return facts;
}

// The status of a refusal, 200 for a file, 101 for the stream.
int StatusOf(const RequestFacts& facts) {
  const RequestDecision decision = CheckRequest(facts, {"secret", 8123});
  if (decision.verdict == RequestVerdict::kServeFile) return 200;
  return decision.verdict == RequestVerdict::kOpenStream ? 101 : decision.status;
}

TEST(CheckRequest, ServesThePageAndItsFiles) {
  EXPECT_EQ(CheckRequest(Facts("/?token=secret"), {"secret", 8123}).path, "index.html");
  EXPECT_EQ(CheckRequest(Facts("/a/b.js?x=1&token=secret"), {"secret", 8123}).path, "a/b.js");
}

TEST(CheckRequest, NeedsExactlyOneRightToken) {
  EXPECT_EQ(StatusOf(Facts("/?token=secret")), 200);
  for (const char* target :
       {"/", "/?token=", "/?token=Secret", "/?token=secretx", "/?token=secre", "/?Token=secret",
        "/?token=secret&token=secret", "/?token=wrong&token=secret", "/?token=secret&token=wrong",
        "/?xtoken=secret", "/?token%3dsecret", "/#?token=", "/token=secret"}) {
    EXPECT_EQ(StatusOf(Facts(target)), 403) << target;
  }
}

TEST(CheckRequest, TheCookieIsGoodForThePagesFilesOnly) {
  const std::string cookie = "other=1; " + TokenCookie({"secret", 8123});
  for (const char* target : {"/viewer.js", "/a/b.css?v=1"}) {
    RequestFacts facts = Facts(target);
    facts.cookies = {cookie};
    EXPECT_EQ(StatusOf(facts), 200) << target;
  }
  for (const char* target : {"/", "/index.html", "/viewer.js?token=wrong"}) {
    RequestFacts facts = Facts(target);
    facts.cookies = {cookie};
    EXPECT_EQ(StatusOf(facts), 403) << target;
  }
  RequestFacts stream = StreamFacts("/stream");
  stream.cookies = {cookie};
  EXPECT_EQ(StatusOf(stream), 403);
  RequestFacts otherPort = Facts("/viewer.js");
  otherPort.cookies = {"tcar_8124=secret"};
  EXPECT_EQ(StatusOf(otherPort), 403);
}

TEST(CheckRequest, RefusesForeignHosts) {
  for (const char* host : {"127.0.0.1:8123", "localhost:8123"}) {
    RequestFacts facts = Facts("/?token=secret");
    facts.hosts = {host};
    EXPECT_EQ(StatusOf(facts), 200) << host;
  }
  for (const char* host : {"", "127.0.0.1", "127.0.0.1:8124", "127.0.0.1:08123", "evil:8123",
                           "localhost.evil:8123", "127.0.0.1:8123:8123", "127.0.0.1:"}) {
    RequestFacts facts = Facts("/?token=secret");
    facts.hosts = {host};
    EXPECT_EQ(StatusOf(facts), 403) << host;
  }
  RequestFacts none = Facts("/?token=secret");
  none.hosts = {};
  EXPECT_EQ(StatusOf(none), 403);
  none.hosts = {"127.0.0.1:8123", "127.0.0.1:8123"};
  EXPECT_EQ(StatusOf(none), 403);
}

TEST(CheckRequest, RefusesForeignOrigins) {
  for (const char* origin : {"http://127.0.0.1:8123", "http://localhost:8123"}) {
    RequestFacts facts = StreamFacts("/stream?token=secret");
    facts.origins = {origin};
    EXPECT_EQ(StatusOf(facts), 101) << origin;
    facts.origins = {origin, origin};
    EXPECT_EQ(StatusOf(facts), 403) << "twice " << origin;
  }
  for (const char* origin : {"", "null", "https://127.0.0.1:8123", "http://127.0.0.1",
                             "http://evil:8123", "http://127.0.0.1:8123/", "127.0.0.1:8123"}) {
    RequestFacts facts = StreamFacts("/stream?token=secret");
    facts.origins = {origin};
    EXPECT_EQ(StatusOf(facts), 403) << origin;
  }
}

TEST(CheckRequest, ReadsTheStreamsNumbers) {
  const RequestDecision decision = CheckRequest(
      StreamFacts("/stream?fps=24&max=3000&min=-5&control=1&token=secret&x=y"), {"secret", 8123});
  EXPECT_EQ(decision.verdict, RequestVerdict::kOpenStream);
  EXPECT_EQ(decision.request.fps, 24);
  EXPECT_EQ(decision.request.maxKbps, 3000);
  EXPECT_EQ(decision.request.minKbps, -5);
  EXPECT_TRUE(decision.controlOnly);
  EXPECT_FALSE(
      CheckRequest(StreamFacts("/stream?token=secret&control=0"), {"secret", 8123}).controlOnly);
}

TEST(CheckRequest, RefusesUnusableNumbersAndMethods) {
  EXPECT_EQ(StatusOf(StreamFacts("/stream?token=secret&fps=x")), 400);
  EXPECT_EQ(StatusOf(StreamFacts("/stream?token=secret&fps=1&fps=2")), 400);
  EXPECT_EQ(StatusOf(StreamFacts("/stream?token=secret&max=99999999999")), 400);
  EXPECT_EQ(StatusOf(StreamFacts("/viewer.js?token=secret")), 400);
  EXPECT_EQ(StatusOf(Facts("/stream?token=secret")), 426);
  EXPECT_EQ(StatusOf(Facts("http://127.0.0.1:8123/?token=secret")), 400);
  EXPECT_EQ(StatusOf(Facts("/?token=secret&x=" + std::string(3000, 'x'))), 400);
  RequestFacts post = Facts("/?token=secret");
  post.method = "POST";
  EXPECT_EQ(StatusOf(post), 405);
}

TEST(RandomToken, IsUsableAndNeverTheSame) {
  std::set<std::string> tokens;
  for (int i = 0; i < 100; ++i) {
    tokens.insert(RandomToken());
    EXPECT_TRUE(IsUsableToken(*tokens.begin()));
    EXPECT_EQ(tokens.begin()->size(), 32u);
  }
  EXPECT_EQ(tokens.size(), 100u);
}

TEST(IsUsableToken, TakesWhatCanStandInAnAddress) {
  EXPECT_TRUE(IsUsableToken("Abc-12_z"));
  EXPECT_TRUE(IsUsableToken(std::string(128, 'x')));
  EXPECT_FALSE(IsUsableToken(std::string(129, 'x')));
  for (const char* token : {"", "a b", "a&b", "a%20", "a=b", "ä"}) {
    EXPECT_FALSE(IsUsableToken(token)) << token;
  }
}

}  // namespace
}  // namespace talu::loopback
