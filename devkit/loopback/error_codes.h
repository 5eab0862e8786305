// The codes that the library's calls return and their texts.
#pragma once

#include <cstdint>

namespace talu::loopback {

enum ErrorCode : int32_t {
  kOk = 0,
  kBadRecord = 1,
  kNotInitialised = 2,
  kAlreadyInitialised = 3,
  kUnknownSession = 4,
  kSessionExists = 5,
  kCannotServe = 6,
  kNoViewer = 7,
  kViewerTooSlow = 8,
  kBadConfiguration = 9,
  kCalledFromCallback = 10,
};

// A text for any code, never null, valid for the life of the process.
const char* ErrorText(int32_t code);

}  // namespace talu::loopback
