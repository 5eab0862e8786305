#include "input/event_fields.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>

#include "control/json_fields.h"
#include "tests/fakes/exact_bytes.h"

namespace talu {
namespace {

using namespace std::string_literals;

std::optional<std::string> RawString(std::string_view body, std::string_view name) {
  std::string_view value;
  if (!RawFindString(body, name, value)) return std::nullopt;
  return std::string(value);
}

std::optional<int32_t> RawInt(std::string_view body, std::string_view name) {
  int32_t value = 0;
  if (!RawFindInt(body, name, value)) return std::nullopt;
  return value;
}

std::optional<std::string> JsonString(std::string_view body, std::string_view name) {
  std::string value;
  if (!JsonFindString(body, name, value)) return std::nullopt;
  return value;
}

std::optional<int32_t> JsonInt(std::string_view body, std::string_view name) {
  int32_t value = 0;
  if (!JsonFindInt(body, name, value)) return std::nullopt;
  return value;
}

TEST(RawFindString, TakesTheBytesAsTheyStand) {
  EXPECT_EQ(RawString(R"({"code":"KeyA"})", "code"), "KeyA");
  EXPECT_EQ(RawString(R"({"code":"a\n\u0041"})", "code"), R"(a\n\u0041)");
  EXPECT_EQ(RawString("{\"code\":\"a\0b\"}"s, "code"), "a\0b"s);
  EXPECT_EQ(RawString(R"({"code":""})", "code"), "");
}

TEST(RawFindString, EndsAtAnEscapedQuote) {
  EXPECT_EQ(RawString(R"({"key":"\"","code":"Quote"})", "key"), "\\");
}

TEST(RawFindString, ReadsFromTheFirstPlaceWhereTheNameStandsQuoted) {
  EXPECT_EQ(RawString(R"({"key":"code","x":"1","code":"KeyA"})", "code"), "1");
  EXPECT_EQ(RawString(R"({"a":{"code":"inner"},"code":"outer"})", "code"), "inner");
  EXPECT_EQ(RawInt(R"({"key":"x","y":5,"x":7})", "x"), 5);
}

TEST(RawFindString, SkipsWhateverStandsBeforeTheOpeningQuote) {
  EXPECT_EQ(RawString(R"({"code": 5, "x":"y"})", "code"), "x");
}

TEST(RawFindString, LeavesTheOutputAloneWhenAPieceIsMissing) {
  for (const char* body : {"", "{}", R"({"code")", R"({"code":)", R"({"code":5})", R"({"code":")",
                           R"({"code":"abc)"}) {
    std::string_view value = "before";
    EXPECT_FALSE(RawFindString(body, "code", value)) << body;
    EXPECT_EQ(value, "before") << body;
  }
}

TEST(RawFindInt, ReadsAsTheJsonReaderDoes) {
  const std::pair<std::string, std::optional<int32_t>> kBodies[] = {
      {R"({"x":12})", 12},
      {R"({"x":-12})", -12},
      {R"({"x":12.9})", 12},
      {R"({"x":1e3})", 1},
      {"{\"x\": \t 7}", 7},
      {"{\"x\":\n7}", std::nullopt},
      {R"({"x":"7"})", std::nullopt},
      {R"({"x":+7})", std::nullopt},
      {R"({"x":--7})", std::nullopt},
      {R"({"x":-})", std::nullopt},
      {R"({"x":-)", std::nullopt},
      {R"({"x":)", std::nullopt},
      {R"({"x")", std::nullopt},
      {"", std::nullopt},
      {R"({"x":4294967297})", 1},
      {R"({"x":2147483648})", std::numeric_limits<int32_t>::min()},
      {R"({"x":-2147483648})", std::numeric_limits<int32_t>::min()},
      {R"({"x":null,"y":3})", std::nullopt},
      {R"({"x":{"y":3}})", std::nullopt},
  };
  for (const auto& [body, expected] : kBodies) {
    EXPECT_EQ(RawInt(body, "x"), expected) << body;
    EXPECT_EQ(JsonInt(body, "x"), expected) << body;
  }
}

TEST(RawFindInt, LeavesTheOutputAloneWhenItFails) {
  int32_t value = 42;
  EXPECT_FALSE(RawFindInt(R"({"x":"7"})", "x", value));
  EXPECT_EQ(value, 42);
}

struct BothReaders {
  std::string body;
  std::optional<std::string> raw;
  std::optional<std::string> decoded;
};

TEST(TheTwoStringReaders, DifferInEscapesOnly) {
  const BothReaders kBodies[] = {
      {R"({"v":"plain"})", "plain", "plain"},     {R"({"v":""})", "", ""},
      {R"({"v": 5, "w":"z"})", "w", "w"},         {R"({"v":"a\nb"})", R"(a\nb)", "a\nb"},
      {R"({"v":"a\"b"})", R"(a\)", R"(a"b)"},     {R"({"v":"a\\"})", R"(a\\)", R"(a\)"},
      {R"({"v":"a\/b"})", R"(a\/b)", "a/b"},      {R"({"v":"\xyz"})", R"(\xyz)", "xyz"},
      {R"({"v":"\u00e9"})", R"(\u00e9)", "é"},    {R"({"v":"\u12g4"})", R"(\u12g4)", std::nullopt},
      {R"({"v":"a\")", R"(a\)", std::nullopt},    {R"({"v":"abc)", std::nullopt, std::nullopt},
      {R"({"v":5})", std::nullopt, std::nullopt},
  };
  for (const auto& [body, raw, decoded] : kBodies) {
    EXPECT_EQ(RawString(body, "v"), raw) << body;
    EXPECT_EQ(JsonString(body, "v"), decoded) << body;
  }
}

TEST(TheTwoStringReaders, DifferInWhatAFailureLeavesBehind) {
  std::string_view raw = "before";
  EXPECT_FALSE(RawFindString(R"({"v":"abc)", "v", raw));
  EXPECT_EQ(raw, "before");
  std::string decoded = "before";
  EXPECT_FALSE(JsonFindString(R"({"v":"abc)", "v", decoded));
  EXPECT_EQ(decoded, "abc");
}

TEST(RawFindFields, NothingReadsPastTheEndOfAnyPrefix) {
  constexpr std::string_view kSample =
      R"({"type":"keydown","hid": 	-458756,"code":"KeyA","key":"\"","x":12,"deltaY":3, "button":"x1"})";
  for (size_t length = 0; length <= kSample.size(); ++length) {
    const ExactBytes prefix(kSample.substr(0, length));
    for (const char* name : {"type", "hid", "code", "key", "x", "deltaY", "button"}) {
      std::string_view text;
      int32_t number = 0;
      if (RawFindString(prefix.View(), name, text)) {
        EXPECT_GE(text.data(), prefix.View().data());
        EXPECT_LE(text.data() + text.size(), prefix.View().data() + length);
      }
      RawFindInt(prefix.View(), name, number);
    }
  }
}

}  // namespace
}  // namespace talu
