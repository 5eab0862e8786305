// The eight functions of the streaming library. Nothing is thrown across them.
#include "devkit/loopback/entry_points.h"

#include <exception>
#include <system_error>

#include "devkit/loopback/error_codes.h"
#include "devkit/loopback/library.h"

using talu::loopback::Library;

int32_t tcar_global_init(const talu::SdkGlobalConfig* config) {
  try {
    return Library::Instance().GlobalInit(config);
  } catch (const std::system_error&) {
    // No thread could be made.
    return talu::loopback::kCannotServe;
  }
}

void tcar_global_cleanup() { Library::Instance().GlobalCleanup(); }

int32_t tcar_session_create(const talu::SdkSessionParams* params, talu::SdkSessionHandle* session) {
  return Library::Instance().SessionCreate(params, session);
}

void tcar_session_destroy(talu::SdkSessionHandle session) {
  Library::Instance().SessionDestroy(session);
}

int32_t tcar_session_send_encoded_video_frame(talu::SdkSessionHandle session,
                                              const talu::SdkVideoFrame* frame) {
  return Library::Instance().SendVideo(session, frame);
}

int32_t tcar_session_send_custom_message(talu::SdkSessionHandle session,
                                         const talu::SdkCustomMessage* message) {
  return Library::Instance().SendMessage(session, message);
}

int32_t tcar_set_screen_info(talu::SdkSessionHandle session, const talu::SdkScreenInfo* info) {
  return Library::Instance().SetScreen(session, info);
}

const char* tcar_str_err(int32_t code) { return talu::loopback::ErrorText(code); }
