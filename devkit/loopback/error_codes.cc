#include "devkit/loopback/error_codes.h"

namespace talu::loopback {

const char* ErrorText(int32_t code) {
  switch (code) {
    case kOk:
      return "success";
    case kBadRecord:
      return "a record holds a value that is not allowed";
    case kNotInitialised:
      return "tcar_global_init has not been called";
    case kAlreadyInitialised:
      return "tcar_global_init has been called already";
    case kUnknownSession:
      return "no such session";
    case kSessionExists:
      return "a session exists already";
    case kCannotServe:
      return "the viewer server could not be started";
    case kNoViewer:
      return "no viewer is connected";
    case kViewerTooSlow:
      return "the viewer does not read its messages";
    case kBadConfiguration:
      return "a TCAR_LOOPBACK_ variable holds a value that is not allowed";
    case kCalledFromCallback:
      return "the call is not allowed inside a callback";
    default:
      return "unknown error";
  }
}

}  // namespace talu::loopback
