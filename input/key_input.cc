#include "input/key_input.h"

#include "base/log.h"
#include "input/injection.h"

namespace talu {

LogBudget keyLogCount{kLoggedKeyInjections};

void SendKey(uint16_t vk, bool down) {
  if (vk == 0) {
    return;
  }
  const InputRecord record = InputRecord::Key(vk, 0, down ? 0 : kKeyUp);
  const InjectionResult result = InjectInput({&record, 1});
  if (!keyLogCount.Take()) {
    return;
  }
  LogPrintf("[agent] SendInput key vk=%u down=%d -> %u\n", vk, down ? 1 : 0, result.inserted);
  if (result.inserted == 0) {
    LogPrintf("[agent] SendInput lastError=%lu\n", static_cast<unsigned long>(result.lastError));
  }
}

}  // namespace talu
