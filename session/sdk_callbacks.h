// The functions that the streaming library calls, and the record that tells it so.
#pragma once

#include "base/sdk_records.h"

namespace talu {

class PushSession;

// The configuration for tcar_global_init: every callback slot filled, session as user context. The
// library copies what it needs; session must outlive the library's threads.
SdkGlobalConfig MakeGlobalConfig(int32_t appId, PushSession& session);

}  // namespace talu
