// The readers and writers of message fields. An input is a key, a line feed and a body.
#include "control/json_fields.h"

#include <string>

#include "control/byte_search.h"
#include "control/json_text.h"
#include "fuzz/checks.h"

namespace talu {
namespace {

void CheckFindString(std::string_view body, std::string_view key) {
  std::string value = "untouched";
  const bool found = JsonFindString(body, key, value);
  Check(found || value == "untouched" || value.size() <= body.size(),
        "a failed read leaves nothing or a part of the body");
  Check(!found || value.size() <= body.size(), "decoding never makes text longer");
}

void CheckFindInt(std::string_view body, std::string_view key) {
  int32_t number = 42;
  const bool found = JsonFindInt(body, key, number);
  Check(found || number == 42, "a failed read leaves the number alone");
}

void CheckAgainstPlainSearch(std::string_view body, std::string_view name) {
  const std::string type = "\"type\":\"" + std::string(name) + "\"";
  Check(HasType(body, name) == (body.find(type) != body.npos), "HasType is a substring test");
  const size_t conn = body.find("\"conn\":\"");
  const size_t end = conn == body.npos ? body.npos : body.find('"', conn + 8);
  const std::string expected(end == body.npos ? "" : body.substr(conn + 8, end - conn - 8));
  Check(ExtractConnId(body) == expected, "the id is the text between the quotes");
}

void CheckRoundTrip(std::string_view text) {
  const std::string escaped = JsonEscape(text);
  Check(JsonEscapedSize(text) == escaped.size(), "the size is known beforehand");
  Check(FindEscapable(escaped, 0) == escaped.size() || escaped.find('\\') != escaped.npos,
        "only escapes need escaping");
  std::string value;
  Check(JsonFindString("{\"k\":\"" + escaped + "\"}", "k", value), "escaped text can be read");
  Check(value == text, "and gives the text back");
}

}  // namespace
}  // namespace talu

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  using namespace talu;
  std::string_view body = TextOf(bytes, size);
  const std::string_view key = TakeUntil(body, '\n');
  CheckFindString(body, key);
  CheckFindInt(body, key);
  CheckAgainstPlainSearch(body, key);
  CheckRoundTrip(body);
  return 0;
}
