#include <cstdlib>

#include "devkit/loopback/entry_points.h"
#include "devkit/loopback/library_under_test.h"

namespace talu::loopback {

StreamSdk LibraryUnderTest() {
  StreamSdk sdk;
  sdk.global_init = tcar_global_init;
  sdk.global_cleanup = tcar_global_cleanup;
  sdk.session_create = tcar_session_create;
  sdk.session_destroy = tcar_session_destroy;
  sdk.send_video_frame = tcar_session_send_encoded_video_frame;
  sdk.send_custom_message = tcar_session_send_custom_message;
  sdk.set_screen_info = tcar_set_screen_info;
  sdk.str_err = tcar_str_err;
  return sdk;
}

void SetVariable(const char* name, const char* value) { setenv(name, value, 1); }

}  // namespace talu::loopback
