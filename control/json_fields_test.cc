#include "control/json_fields.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "control/byte_search.h"
#include "control/json_text.h"
#include "tests/fakes/exact_bytes.h"

namespace talu {
namespace {

using namespace std::string_literals;

// The value, or nothing when the read fails.
std::optional<std::string> FoundString(std::string_view body, std::string_view key) {
  std::string value;
  if (!JsonFindString(body, key, value)) return std::nullopt;
  return value;
}

std::optional<int32_t> FoundInt(std::string_view body, std::string_view key) {
  int32_t value = 0;
  if (!JsonFindInt(body, key, value)) return std::nullopt;
  return value;
}

// What a read that must fail leaves in an output that held "before".
std::string LeftBehind(std::string_view body, std::string_view key) {
  std::string value = "before";
  EXPECT_FALSE(JsonFindString(body, key, value)) << body;
  return value;
}

TEST(JsonFindString, DecodesAnEscapedQuote) {
  EXPECT_EQ(FoundString(R"({"text":"a\"b"})", "text"), R"(a"b)");
}

TEST(JsonFindString, LeavesWhatItDecodedWhenTheClosingQuoteIsMissing) {
  EXPECT_EQ(LeftBehind(R"({"text":"abc)", "text"), "abc");
  EXPECT_EQ(LeftBehind(R"({"text":"ab\n)", "text"), "ab\n");
}

TEST(JsonFindString, ReadsTheNextQuotedTextWhateverStandsBeforeIt) {
  EXPECT_EQ(FoundString(R"({"text": 5, "x":"y"})", "text"), "x");
  EXPECT_EQ(FoundString(R"({"text":null,"x":"y"})", "text"), "x");
  EXPECT_EQ(FoundString("{\"text\": \r\n\t \"abc\"}", "text"), "abc");
}

TEST(JsonFindString, FindsTheColonBehindAnything) {
  EXPECT_EQ(FoundString(R"({"text" , "x" : "y"})", "text"), "y");
}

TEST(JsonFindString, TakesTheFirstQuotedKeyAlsoWhenItIsAValue) {
  EXPECT_EQ(FoundString(R"({"type":"text","conn":"c1","text":"abc"})", "text"), "c1");
  EXPECT_EQ(FoundString(R"({"a":{"text":"inner"},"text":"outer"})", "text"), "inner");
}

TEST(JsonFindString, IsCaseSensitive) {
  EXPECT_EQ(FoundString(R"({"Text":"a"})", "text"), std::nullopt);
  EXPECT_EQ(FoundString(R"({"texts":"a"})", "text"), std::nullopt);
}

TEST(JsonFindString, LeavesTheOutputAloneWithoutKeyColonOrOpeningQuote) {
  EXPECT_EQ(LeftBehind("", "text"), "before");
  EXPECT_EQ(LeftBehind("{}", "text"), "before");
  EXPECT_EQ(LeftBehind(R"({"text")", "text"), "before");
  EXPECT_EQ(LeftBehind(R"({"text" "abc"})", "text"), "before");
  EXPECT_EQ(LeftBehind(R"({"text":)", "text"), "before");
  EXPECT_EQ(LeftBehind(R"({"text":5})", "text"), "before");
}

TEST(JsonFindString, ClearsTheOutputWhenTheOpeningQuoteIsTheLastByte) {
  EXPECT_EQ(LeftBehind(R"({"text":")", "text"), "");
}

TEST(JsonFindString, ReplacesWhatTheOutputHeld) {
  std::string value = "before";
  EXPECT_TRUE(JsonFindString(R"({"text":""})", "text", value));
  EXPECT_EQ(value, "");
}

TEST(JsonFindString, KeepsABackslashThatIsTheLastByte) {
  EXPECT_EQ(LeftBehind(R"({"text":"ab\)", "text"), R"(ab\)");
}

TEST(JsonFindString, FailsWhenTheBodyEndsRightAfterAnEscape) {
  EXPECT_EQ(LeftBehind(R"({"text":"ab\")", "text"), R"(ab")");
  EXPECT_EQ(LeftBehind(R"({"text":"\u0041)", "text"), "A");
}

TEST(JsonFindString, DecodesEveryEscape) {
  const std::pair<const char*, std::string> kEscapes[] = {
      {R"(\")", "\""},      {R"(\/)", "/"},    {R"(\\)", "\\"},    {R"(\b)", "\x08"},
      {R"(\f)", "\x0C"},    {R"(\n)", "\x0A"}, {R"(\r)", "\x0D"},  {R"(\t)", "\x09"},
      {R"(\u0041)", "A"},   {R"(\x)", "x"},    {R"(\U)", "U"},     {R"(\0)", "0"},
      {R"(\u0000)", "\0"s}, {R"(\')", "'"},    {"\\\xC3", "\xC3"},
  };
  for (const auto& [escape, decoded] : kEscapes) {
    SCOPED_TRACE(escape);
    EXPECT_EQ(FoundString("{\"text\":\"<"s + escape + ">\"}", "text"), "<" + decoded + ">");
  }
}

TEST(JsonFindString, DropsTheBackslashOfAnyOtherEscape) {
  constexpr std::string_view kKnown = "bfnrtu";
  for (int byte = 0; byte < 0x100; ++byte) {
    const char letter = static_cast<char>(byte);
    if (kKnown.find(letter) != kKnown.npos) continue;
    const std::string body = "{\"text\":\"\\"s + letter + "\"}";
    EXPECT_EQ(FoundString(body, "text"), std::string(1, letter)) << byte;
  }
}

TEST(JsonFindString, EncodesCodePointsAtEveryLengthsEnds) {
  const std::pair<const char*, std::string> kCodePoints[] = {
      {R"(\u007f)", "\x7F"},
      {R"(\u0080)", "\xC2\x80"},
      {R"(\u07FF)", "\xDF\xBF"},
      {R"(\u0800)", "\xE0\xA0\x80"},
      {R"(\uffff)", "\xEF\xBF\xBF"},
      {R"(\uD800\uDC00)", "\xF0\x90\x80\x80"},
      {R"(\udbff\udfff)", "\xF4\x8F\xBF\xBF"},
  };
  for (const auto& [escape, encoded] : kCodePoints) {
    SCOPED_TRACE(escape);
    EXPECT_EQ(FoundString("{\"name\":\""s + escape + "\"}", "name"), encoded);
  }
}

TEST(JsonFindString, JoinsASurrogatePair) {
  EXPECT_EQ(FoundString(R"({"name":"\ud83d\ude00"})", "name"), "\xF0\x9F\x98\x80");
}

TEST(JsonFindString, JoinsEverySurrogatePair) {
  for (uint32_t codePoint = 0x10000; codePoint <= 0x10FFFF; codePoint += 37) {
    const uint32_t offset = codePoint - 0x10000;
    char escapes[13];
    std::snprintf(escapes, sizeof escapes, "\\u%04X\\u%04x", 0xD800 + (offset >> 10),
                  0xDC00 + (offset & 0x3FF));
    const std::string expected{static_cast<char>(0xF0 | codePoint >> 18),
                               static_cast<char>(0x80 | (codePoint >> 12 & 0x3F)),
                               static_cast<char>(0x80 | (codePoint >> 6 & 0x3F)),
                               static_cast<char>(0x80 | (codePoint & 0x3F))};
    ASSERT_EQ(FoundString("{\"name\":\""s + escapes + "\"}", "name"), expected) << escapes;
  }
}

TEST(JsonFindString, EncodesALoneSurrogateAsThreeBytes) {
  EXPECT_EQ(FoundString(R"({"name":"\ud83d"})", "name"), "\xED\xA0\xBD");
  EXPECT_EQ(FoundString(R"({"name":"\ud83dx"})", "name"), "\xED\xA0\xBDx");
  EXPECT_EQ(FoundString(R"({"name":"\ude00"})", "name"), "\xED\xB8\x80");
  EXPECT_EQ(FoundString(R"({"name":"\ude00\ud83d"})", "name"), "\xED\xB8\x80\xED\xA0\xBD");
  EXPECT_EQ(FoundString(R"({"name":"\ud83d\ud83d\ude00"})", "name"),
            "\xED\xA0\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(FoundString(R"({"name":"\ude00\ude00"})", "name"), "\xED\xB8\x80\xED\xB8\x80");
  EXPECT_EQ(FoundString(R"({"name":"\ud83d\u0041"})", "name"), "\xED\xA0\xBD\x41");
  EXPECT_EQ(FoundString(R"({"name":"\ud83d\ue000"})", "name"), "\xED\xA0\xBD\xEE\x80\x80");
  EXPECT_EQ(FoundString(R"({"name":"\ud83d\\ude00"})", "name"), "\xED\xA0\xBD\\ude00");
}

TEST(JsonFindString, FailsAtABrokenEscapeBehindALoneSurrogate) {
  EXPECT_EQ(LeftBehind(R"({"name":"a\ud83d\ude0g"})", "name"), "a\xED\xA0\xBD");
  EXPECT_EQ(LeftBehind(R"({"name":"a\ud83d\ude0)", "name"), "a\xED\xA0\xBD");
}

TEST(JsonFindString, FailsAtBadHexDigits) {
  EXPECT_EQ(LeftBehind(R"({"name":"ab\u12g4"})", "name"), "ab");
  EXPECT_EQ(LeftBehind(R"({"name":"\u-123"})", "name"), "");
  EXPECT_EQ(LeftBehind(R"({"name":"\u 123"})", "name"), "");
  EXPECT_EQ(LeftBehind(R"({"name":"\u12"})", "name"), "");
}

TEST(JsonFindString, FailsWhenAUnicodeEscapeDoesNotFitIntoTheBody) {
  for (const char* broken : {R"(\u)", R"(\u1)", R"(\u12)", R"(\u123)"}) {
    EXPECT_EQ(LeftBehind("{\"name\":\"a"s + broken, "name"), "a") << broken;
  }
}

TEST(JsonFindString, KeepsNulsAndBrokenUtf8) {
  const std::string body = "{\"text\":\"a\0b\xC3(\xFF\"}"s;
  EXPECT_EQ(FoundString(body, "text"), "a\0b\xC3(\xFF"s);
}

TEST(JsonFindString, TakesKeysOfAnyLength) {
  EXPECT_EQ(FoundString(R"({"":"empty"})", ""), "empty");
  const std::string longKey(300, 'k');
  EXPECT_EQ(FoundString("{\"" + longKey + "\":\"long\"}", longKey), "long");
}

TEST(JsonFindInt, ReadsIntegersAfterSpacesAndTabsOnly) {
  EXPECT_EQ(FoundInt(R"({"index":-3})", "index"), -3);
  EXPECT_EQ(FoundInt("{\"index\": \t7}", "index"), 7);
  EXPECT_EQ(FoundInt("{\"index\":\n7}", "index"), std::nullopt);
  EXPECT_EQ(FoundInt("{\"index\":\r7}", "index"), std::nullopt);
  EXPECT_EQ(FoundInt("{\"index\":\v7}", "index"), std::nullopt);
}

TEST(JsonFindInt, RefusesWhatDoesNotBeginWithADigit) {
  for (const char* value : {R"("7")", "true", "null", ".5", "+7", "- 7", "--7", "-", "", "-x"}) {
    EXPECT_EQ(FoundInt("{\"index\":"s + value + "}", "index"), std::nullopt) << value;
  }
}

TEST(JsonFindInt, LeavesTheOutputAloneWhenItFails) {
  for (const char* body : {"", "{}", R"({"index")", R"({"index":)", R"({"index": )",
                           R"({"index":-)", R"({"index":-})", R"({"index":"7"})"}) {
    int32_t value = 42;
    EXPECT_FALSE(JsonFindInt(body, "index", value)) << body;
    EXPECT_EQ(value, 42) << body;
  }
}

TEST(JsonFindInt, WrapsAroundThirtyTwoBits) {
  EXPECT_EQ(FoundInt(R"({"index":4294967297})", "index"), 1);
  EXPECT_EQ(FoundInt(R"({"index":-4294967297})", "index"), -1);
  EXPECT_EQ(FoundInt(R"({"index":2147483647})", "index"), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(FoundInt(R"({"index":2147483648})", "index"), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(FoundInt(R"({"index":-2147483648})", "index"), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(FoundInt("{\"index\":" + std::string(5000, '0') + "12}", "index"), 12);
}

TEST(JsonFindInt, StopsAtTheFirstNonDigit) {
  EXPECT_EQ(FoundInt(R"({"index":3.9})", "index"), 3);
  EXPECT_EQ(FoundInt(R"({"index":1e3})", "index"), 1);
  EXPECT_EQ(FoundInt("{\"index\":12\0007}"s, "index"), 12);
  EXPECT_EQ(FoundInt(R"({"index":12)", "index"), 12);
  EXPECT_EQ(FoundInt(R"({"index":-0})", "index"), 0);
}

TEST(JsonFindInt, TakesTheFirstOccurrence) {
  EXPECT_EQ(FoundInt(R"({"a":{"index":2},"index":5})", "index"), 2);
  EXPECT_EQ(FoundInt(R"({"a":"index","b":6,"index":5})", "index"), 6);
}

TEST(JsonFindInt, TakesANulForTheEndOfTheNumberNotOfTheBody) {
  EXPECT_EQ(FoundInt("{\"a\":\"\0\",\"index\":5}"s, "index"), 5);
  EXPECT_EQ(FoundInt("{\"index\":\0005}"s, "index"), std::nullopt);
}

TEST(ExtractConnId, TakesTheCompactFormOnly) {
  EXPECT_EQ(ExtractConnId(R"({"conn":"c1"})"), "c1");
  EXPECT_EQ(ExtractConnId(R"({"conn": "c1"})"), "");
  EXPECT_EQ(ExtractConnId(R"({"conn" :"c1"})"), "");
  EXPECT_EQ(ExtractConnId(R"({"Conn":"c1"})"), "");
}

TEST(ExtractConnId, IsEmptyWhenAnythingIsMissing) {
  for (const char* body :
       {"", "\"conn\":", "\"conn\":\"", "\"conn\":\"c1", "{}", R"({"conn":""})", R"({"conn":7})"}) {
    EXPECT_EQ(ExtractConnId(body), "") << body;
  }
}

TEST(ExtractConnId, DecodesNoEscapes) {
  EXPECT_EQ(ExtractConnId(R"({"conn":"a\nb\"c"})"), R"(a\nb\)");
  EXPECT_EQ(ExtractConnId("{\"conn\":\"a\0b\"}"s), "a\0b"s);
}

TEST(ExtractConnId, TakesTheFirstOccurrence) {
  EXPECT_EQ(ExtractConnId(R"({"x":{"conn":"1"},"conn":"2"})"), "1");
}

TEST(HasType, LooksForTheCompactFragmentAnywhere) {
  EXPECT_TRUE(HasType(R"({"type":"bye"})", "bye"));
  EXPECT_TRUE(HasType(R"({"a":{"type":"bye"}})", "bye"));
  EXPECT_TRUE(HasType(R"("type":"bye")", "bye"));
  EXPECT_TRUE(HasType(R"({"type":"x","type":"bye"})", "bye"));
  EXPECT_TRUE(HasType(R"("type":"type":"bye")", "bye"));
}

TEST(HasType, MatchesNoOtherForm) {
  for (const char* body :
       {"", R"({"type": "bye"})", R"({"type" :"bye"})", R"({"type":"byes"})", R"({"type":"by"})",
        R"({"type":"Bye"})", R"({"Type":"bye"})", R"({"type":"bye)", R"({"a":"\"type\":\"bye\""})",
        R"({"bye":"type"})", R"("type":")"}) {
    EXPECT_FALSE(HasType(body, "bye")) << body;
  }
}

TEST(JsonEscape, EscapesTheSample) {
  EXPECT_EQ(JsonEscape("\x41\x0A\x22\x01\x7F\xC3\xA9"), "A\\n\\\"\\u0001\x7F\xC3\xA9");
}

TEST(JsonEscape, WritesEveryByteAsTheTableSays) {
  for (int byte = 0; byte < 0x100; ++byte) {
    std::string expected(1, static_cast<char>(byte));
    switch (byte) {
      case 0x08:
        expected = "\\b";
        break;
      case 0x09:
        expected = "\\t";
        break;
      case 0x0A:
        expected = "\\n";
        break;
      case 0x0C:
        expected = "\\f";
        break;
      case 0x0D:
        expected = "\\r";
        break;
      case 0x22:
        expected = "\\\"";
        break;
      case 0x5C:
        expected = "\\\\";
        break;
      default:
        if (byte < 0x20) {
          char text[8];
          std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(byte));
          expected = text;
        }
    }
    EXPECT_EQ(JsonEscape(std::string(1, static_cast<char>(byte))), expected) << byte;
  }
}

TEST(JsonEscape, LeavesSlashesAndNonAsciiTextAlone) {
  EXPECT_EQ(JsonEscape("/剪贴板😀/"), "/剪贴板😀/");
  EXPECT_EQ(JsonEscape(""), "");
}

TEST(JsonEscapedSize, IsTheSizeOfTheEscapedText) {
  for (int byte = 0; byte < 0x100; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(JsonEscapedSize(text), JsonEscape(text).size()) << byte;
  }
  EXPECT_EQ(JsonEscapedSize(""), 0u);
}

TEST(DecimalText, HasNoPaddingAndNoPlusSign) {
  EXPECT_EQ(DecimalText(0), "0");
  EXPECT_EQ(DecimalText(42), "42");
  EXPECT_EQ(DecimalText(-7), "-7");
  EXPECT_EQ(DecimalText(std::numeric_limits<int32_t>::max()), "2147483647");
  EXPECT_EQ(DecimalText(std::numeric_limits<int32_t>::min()), "-2147483648");
}

std::string RandomText(std::mt19937& random) {
  std::string text;
  const size_t length = random() % 200;
  // Controls and quotes as often as everything else.
  for (size_t at = 0; at < length; ++at) {
    const uint32_t kind = random() % 4;
    text.push_back(kind == 0   ? static_cast<char>(random() % 0x20)
                   : kind == 1 ? "\"\\/u"[random() % 4]
                               : static_cast<char>(random() % 0x100));
  }
  return text;
}

TEST(JsonFields, FindingEscapedTextGivesTheTextBack) {
  std::mt19937 random(2);
  for (int round = 0; round < 3000; ++round) {
    const std::string text = RandomText(random);
    const std::string escaped = JsonEscape(text);
    ASSERT_EQ(JsonEscapedSize(text), escaped.size());
    ASSERT_EQ(FoundString("{\"type\":\"clipboard\",\"text\":\"" + escaped + "\"}", "text"), text);
  }
}

// The rules once more, byte by byte, to hold the fast reader against.
bool ReadStringByteByByte(std::string_view body, std::string_view key, std::string& value) {
  const std::string pattern = "\"" + std::string(key) + "\"";
  const size_t found = body.find(pattern);
  if (found == body.npos) return false;
  const size_t colon = body.find(':', found + pattern.size());
  if (colon == body.npos) return false;
  const size_t quote = body.find('"', colon);
  if (quote == body.npos) return false;
  value.clear();
  const auto unitAt = [&](size_t at) -> int32_t {
    if (at + 6 > body.size() || body[at] != '\\' || body[at + 1] != 'u') return -1;
    const std::string digits(body.substr(at + 2, 4));
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos) return -1;
    return static_cast<int32_t>(std::stol(digits, nullptr, 16));
  };
  const auto append = [&](uint32_t point) {
    const int more = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    constexpr uint32_t kLeads[] = {0, 0xC0, 0xE0, 0xF0};
    value.push_back(static_cast<char>(kLeads[more] | point >> (6 * more)));
    for (int left = more - 1; left >= 0; --left) {
      value.push_back(static_cast<char>(0x80 | (point >> (6 * left) & 0x3F)));
    }
  };
  for (size_t at = quote + 1; at < body.size();) {
    if (body[at] == '"') return true;
    if (body[at] != '\\' || at + 1 == body.size()) {
      value.push_back(body[at++]);
    } else if (body[at + 1] != 'u') {
      constexpr std::string_view kLetters = "bfnrt";
      const size_t letter = kLetters.find(body[at + 1]);
      value.push_back(letter == kLetters.npos ? body[at + 1] : "\b\f\n\r\t"[letter]);
      at += 2;
    } else {
      const int32_t high = unitAt(at);
      if (high < 0) return false;
      const int32_t low = unitAt(at + 6);
      if (high >= 0xD800 && high < 0xDC00 && low >= 0xDC00 && low < 0xE000) {
        append(static_cast<uint32_t>(0x10000 + (high - 0xD800) * 0x400 + (low - 0xDC00)));
        at += 12;
      } else {
        append(static_cast<uint32_t>(high));
        at += 6;
      }
    }
  }
  return false;
}

TEST(JsonFields, TheStringReaderAgreesWithTheRulesReadByteByByte) {
  const std::vector<std::string> kPieces = {"\"",          "\\",
                                            "\\u",         "\\ud83d",
                                            "\\ude00",     "\\u00e9",
                                            "0",           "dead",
                                            ":",           "\"text\"",
                                            " ",           "\\n",
                                            "\\\"",        "é",
                                            "{",           "}",
                                            "\0"s,         "\\u0000",
                                            "g",           "\\x",
                                            "\"text\":\"", "a run of plain text, long enough"};
  std::mt19937 random(3);
  for (int round = 0; round < 20000; ++round) {
    std::string text = "{\"text\":\"";
    for (size_t count = random() % 12; count > 0; --count) {
      text += kPieces[random() % kPieces.size()];
    }
    const ExactBytes body(text);
    std::string value = "before";
    std::string expectedValue = "before";
    const bool found = JsonFindString(body.View(), "text", value);
    ASSERT_EQ(found, ReadStringByteByByte(text, "text", expectedValue)) << text;
    ASSERT_EQ(value, expectedValue) << text;
  }
}

// Where escapes are many they are decoded and written in stretches, a kilobyte at a time.
TEST(JsonFields, LongTextsFullOfEscapesAgreeWithTheRulesReadByteByByte) {
  const std::vector<std::string> kPieces = {"\\n",
                                            "\\\"",
                                            "\\\\",
                                            "\\u4e2d",
                                            "\\ud83d\\ude00",
                                            "\\ud83d",
                                            "\\x",
                                            "a",
                                            "é",
                                            "a few",
                                            "sixteen bytes or so of text"};
  const std::vector<std::string> kEnds = {"\"", "", "\\", "\\u12", "\\u12g4\"", "\\ud83d\\u12"};
  std::mt19937 random(4);
  for (int round = 0; round < 500; ++round) {
    // Some texts have many plain pieces, some hardly any.
    const size_t kinds = 5 + random() % (kPieces.size() - 4);
    std::string text = "{\"text\":\"";
    for (size_t count = random() % 900; count > 0; --count) text += kPieces[random() % kinds];
    text += kEnds[random() % kEnds.size()];
    const ExactBytes body(text);
    std::string value;
    std::string expectedValue;
    const bool found = JsonFindString(body.View(), "text", value);
    ASSERT_EQ(found, ReadStringByteByByte(text, "text", expectedValue)) << text;
    ASSERT_EQ(value, expectedValue) << text;
  }
}

TEST(JsonFields, LongTextsAreEscapedAsTheirBytesAre) {
  std::mt19937 random(5);
  for (int round = 0; round < 500; ++round) {
    std::string text;
    std::string expected;
    const uint32_t rarity = 1 + random() % 40;
    for (size_t count = random() % 400; count > 0; --count) {
      const char byte = random() % rarity == 0 ? "\n\"\\\x1F"[random() % 4] : 'p';
      text += byte;
      expected += JsonEscape(std::string(1, byte));
    }
    const ExactBytes bytes(text);
    ASSERT_EQ(JsonEscape(bytes.View()), expected);
    ASSERT_EQ(JsonEscapedSize(bytes.View()), expected.size());
  }
}

const char* const kSamples[] = {
    R"({"type":"clipboard","text":"a\"b\\c\/d\b\f\n\r\t\u00e9\ud83d\ude00\ud83dx\x, and some more"})",
    R"({"type":"switch_screen","index": 	-12345678901234567890, "x":"y"})",
    R"({"type":"request_keyframe","conn":"a connection id that is rather long"})",
    R"({"a":{"index":2},"index":5,"name":"\u12g4","text" : 5 , "conn": "c"})",
};

TEST(JsonFields, NothingReadsPastTheEndOfAnyPrefix) {
  for (const std::string_view sample : kSamples) {
    for (size_t length = 0; length <= sample.size(); ++length) {
      const ExactBytes prefix(sample.substr(0, length));
      std::string text;
      int32_t number = 0;
      for (const char* key : {"type", "text", "index", "name", "x", "conn", ""}) {
        JsonFindString(prefix.View(), key, text);
        JsonFindInt(prefix.View(), key, number);
        HasType(prefix.View(), key);
      }
      ExtractConnId(prefix.View());
      EXPECT_EQ(JsonEscapedSize(prefix.View()), JsonEscape(prefix.View()).size());
    }
  }
}

// Bodies made to be slow for a search that starts over: were any reader worse than linear, these
// sizes would take minutes.
TEST(JsonFields, MegabytesOfNearMissesAreReadInOneGo) {
  constexpr size_t kRepeats = 1 << 20;
  const auto repeated = [](std::string_view piece) {
    std::string text;
    text.reserve(piece.size() * kRepeats);
    for (size_t count = 0; count < kRepeats; ++count) text += piece;
    return text;
  };
  for (const char* piece : {"\"", "\\", "\"text\"", "\"tex", "\"type\":\"", "\"conn\":\"", ":"}) {
    SCOPED_TRACE(piece);
    const std::string body = repeated(piece);
    std::string text;
    int32_t number = 0;
    JsonFindString(body, "text", text);
    JsonFindInt(body, "text", number);
    EXPECT_FALSE(HasType(body, "request_keyframe"));
    ExtractConnId(body);
    EXPECT_EQ(JsonEscapedSize(body), JsonEscape(body).size());
  }
  EXPECT_EQ(FoundString("{\"text\":\"" + repeated("\\ud83d\\ude00") + "\"}", "text"),
            repeated("\xF0\x9F\x98\x80"));
}

}  // namespace
}  // namespace talu
