// The eight exported functions. Codes are those of error_codes.h, or of an injected fault.
//
// Any thread may call. Init, create, destroy and cleanup may not be called in a callback; a destroy
// or cleanup there does nothing.
#pragma once

#include "base/sdk_records.h"

// The names are the boundary's.
// NOLINTBEGIN(readability-identifier-naming)
extern "C" {

int32_t tcar_global_init(const talu::SdkGlobalConfig* config);
// Ends a session that is still there.
void tcar_global_cleanup();
int32_t tcar_session_create(const talu::SdkSessionParams* params, talu::SdkSessionHandle* session);
// After it none of the session's callbacks comes.
void tcar_session_destroy(talu::SdkSessionHandle session);
// 0 also when no viewer is there or the viewer is too slow: video is dropped, never kept.
int32_t tcar_session_send_encoded_video_frame(talu::SdkSessionHandle session,
                                              const talu::SdkVideoFrame* frame);
int32_t tcar_session_send_custom_message(talu::SdkSessionHandle session,
                                         const talu::SdkCustomMessage* message);
int32_t tcar_set_screen_info(talu::SdkSessionHandle session, const talu::SdkScreenInfo* info);
// Never null; valid for the life of the process.
const char* tcar_str_err(int32_t code);

}  // extern "C"
// NOLINTEND(readability-identifier-naming)
