#include "control/screens_message.h"

#include "base/log.h"
#include "control/json_fields.h"
#include "control/json_text.h"

namespace talu {
namespace {

void AppendScreen(std::string& message, const ScreenInfo& screen) {
  message.append("{\"index\":").append(DecimalText(static_cast<int32_t>(screen.index)));
  message.append(",\"name\":\"").append(JsonEscape(screen.name));
  message.append("\",\"width\":").append(DecimalText(screen.width));
  message.append(",\"height\":").append(DecimalText(screen.height));
  message.append(",\"primary\":").append(screen.primary ? "true" : "false").append("}");
}

}  // namespace

std::string BuildScreensMessage(int32_t current, std::span<const ScreenInfo> screens) {
  std::string message = "{\"type\":\"screens\",\"current\":";
  message.append(DecimalText(current)).append(",\"screens\":[");
  for (const ScreenInfo& screen : screens) {
    if (&screen != screens.data()) {
      message.append(",");
    }
    AppendScreen(message, screen);
  }
  return message.append("]}");
}

void SendScreensInfo(SdkSession& session, const SessionFlags& flags,
                     const std::function<ScreenList()>& listScreens) {
  if (!session.IsOpen() || !flags.controllerActive.load()) {
    return;
  }
  const ScreenList list = listScreens();
  const std::string message = BuildScreensMessage(list.current, list.screens);
  if (session.SendControlMessage(message)) {
    LogPrintf("[agent] screens info -> controller: %s\n", message.c_str());
  }
}

}  // namespace talu
