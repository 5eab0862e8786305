// Key events, one call to the system each. Any thread.
#pragma once

#include <cstdint>

#include "base/log_budget.h"

namespace talu {

// The first key injections of the process are logged; after that the log stays small.
constexpr uint32_t kLoggedKeyInjections = 20;
extern LogBudget keyLogCount;

// Presses or releases a virtual key; nothing for 0. The system derives scan code and the extended
// flag from the virtual key alone. A refusal is logged, within the budget, and not retried.
void SendKey(uint16_t vk, bool down);

}  // namespace talu
