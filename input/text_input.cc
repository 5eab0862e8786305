#include "input/text_input.h"

#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include "input/injection.h"

namespace talu {
namespace {

constexpr uint16_t kEnterKey = 0x0D;

// The records of one text. Megabytes of text make gigabytes of records: not having the memory for
// them is an answer, not an exception.
class TypedText {
 public:
  explicit TypedText(size_t capacity) : records(new (std::nothrow) InputRecord[capacity]) {}

  bool HasMemory() const { return records != nullptr; }

  void Add(char16_t unit) {
    if (unit == u'\n') {
      AddPressAndRelease(kEnterKey, 0, 0);
    } else if (unit != u'\r') {
      AddPressAndRelease(0, unit, kKeyUnicode);
    }
  }

  std::span<const InputRecord> Records() const { return {records.get(), count}; }

 private:
  void AddPressAndRelease(uint16_t virtualKey, uint16_t scanCode, uint32_t flags) {
    records[count++] = InputRecord::Key(virtualKey, scanCode, flags);
    records[count++] = InputRecord::Key(virtualKey, scanCode, flags | kKeyUp);
  }

  const std::unique_ptr<InputRecord[]> records;
  size_t count = 0;
};

}  // namespace

void TypeText(std::string_view utf8) {
  if (utf8.empty()) {
    return;
  }
  const std::u16string units = Utf16FromUtf8(utf8);
  if (units.empty()) {
    return;
  }
  TypedText typed(2 * units.size());
  if (!typed.HasMemory()) {
    return;
  }
  for (const char16_t unit : units) {
    typed.Add(unit);
  }
  if (!typed.Records().empty()) {
    // A text typed in part or not at all shows on the screen; there is nobody else to tell.
    (void)InjectInput(typed.Records());
  }
}

}  // namespace talu
