// The screens message: which monitors there are and which one is shown.
//
//   {"type":"screens","current":0,"screens":[{"index":0,"name":"A","width":1920,"height":1080,
//    "primary":true}]}        (one line, no white space)
//
// Free functions without state; any thread but the clipboard's may call them.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "base/screen_records.h"
#include "base/sdk_session.h"
#include "base/session_flags.h"

namespace talu {

struct ScreenList {
  int32_t current = 0;  // index of the screen being captured, 0 before the first capture
  std::vector<ScreenInfo> screens;
};

// The message for screens in their order.
std::string BuildScreensMessage(int32_t current, std::span<const ScreenInfo> screens);

// Sends and logs the list that listScreens gives. Without an open session or an active controller
// nothing is asked, sent or logged.
void SendScreensInfo(SdkSession& session, const SessionFlags& flags,
                     const std::function<ScreenList()>& listScreens);

}  // namespace talu
