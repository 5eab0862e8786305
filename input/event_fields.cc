#include "input/event_fields.h"

#include "control/byte_search.h"
#include "control/json_fields.h"

namespace talu {

bool RawFindString(std::string_view body, std::string_view name, std::string_view& value) {
  const size_t colon = FindFieldColon(body, name);
  if (colon == kNotFound) {
    return false;
  }
  const size_t openingQuote = FindByte(body, '"', colon);
  if (openingQuote == kNotFound) {
    return false;
  }
  const size_t start = openingQuote + 1;
  const size_t closingQuote = FindByte(body, '"', start);
  if (closingQuote == kNotFound) {
    return false;
  }
  value = body.substr(start, closingQuote - start);
  return true;
}

bool RawFindInt(std::string_view body, std::string_view name, int32_t& value) {
  return JsonFindInt(body, name, value);
}

}  // namespace talu
