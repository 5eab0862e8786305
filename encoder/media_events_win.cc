#include "encoder/media_events_win.h"

#include <wrl/client.h>

namespace talu {

std::optional<MediaEventType> NextEvent(IMFMediaEventGenerator& generator) {
  Microsoft::WRL::ComPtr<IMFMediaEvent> event;
  if (generator.GetEvent(MF_EVENT_FLAG_NO_WAIT, &event) != S_OK || event == nullptr) {
    return std::nullopt;
  }
  MediaEventType type = MEUnknown;  // Stays when the event does not tell; it is then ignored.
  event->GetType(&type);
  return type;
}

}  // namespace talu
