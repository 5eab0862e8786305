// Whether the records that the host passes hold what they must. Each check gives the complaint,
// null when there is none. The texts are constants. Any thread.
#pragma once

#include "base/sdk_records.h"

namespace talu::loopback {

const char* CheckGlobalConfig(const SdkGlobalConfig* config);
const char* CheckSessionParams(const SdkSessionParams* params);
const char* CheckVideoFrame(const SdkVideoFrame* frame);
const char* CheckCustomMessage(const SdkCustomMessage* message);
const char* CheckScreenInfo(const SdkScreenInfo* info);

}  // namespace talu::loopback
