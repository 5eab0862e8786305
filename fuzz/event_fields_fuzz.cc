// The raw readers and the whole injector over a desktop that only counts. An input is the body of
// one event.
#include "input/event_fields.h"

#include <string>

#include "control/json_fields.h"
#include "fuzz/checks.h"
#include "input/input_injector.h"
#include "tests/fakes/fake_injection.h"

namespace talu {
namespace {

constexpr const char* kNames[] = {"type", "x", "y", "button", "deltaY", "hid", "code", "key"};

void CheckFields(std::string_view body, const char* name) {
  std::string_view raw = "untouched";
  const bool found = RawFindString(body, name, raw);
  Check(found || raw == "untouched", "a failed read leaves the text alone");
  Check(!found || raw.find('"') == raw.npos, "a raw text ends at its first quote");
  Check(
      !found || (raw.data() >= body.data() && raw.data() + raw.size() <= body.data() + body.size()),
      "a raw text lies in the body");
  std::string decoded;
  if (found && raw.find('\\') == raw.npos) {
    Check(JsonFindString(body, name, decoded) && decoded == raw,
          "without escapes both readers agree");
  }
  int32_t rawNumber = 42;
  int32_t number = 42;
  Check(RawFindInt(body, name, rawNumber) == JsonFindInt(body, name, number) && rawNumber == number,
        "integers are read alike");
}

}  // namespace
}  // namespace talu

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  using namespace talu;
  SilenceLog();
  const std::string_view body = TextOf(bytes, size);
  for (const char* name : kNames) {
    CheckFields(body, name);
  }
  FakeInjection::Reset();
  InputInjector injector;
  injector.SetScreenRect(1280, 720, -1280, 0);
  const bool handled = injector.HandleEvent(body);
  Check(handled || FakeInjection::CallSizes().empty(), "what is no event injects nothing");
  return 0;
}
