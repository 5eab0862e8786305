#include "devkit/loopback/outbox.h"

#include <utility>

namespace talu::loopback {

Outbox::Outbox(const OutboxLimits& outboxLimits, std::function<void()> wakeWriter,
               std::function<void()> keyFrameRequest)
    : limits(outboxLimits),
      wake(std::move(wakeWriter)),
      askForKeyFrame(std::move(keyFrameRequest)) {}

void Outbox::PushVideo(Payload unit, bool keyFrame) {
  bool mustWake = false;
  bool mustAsk = false;
  {
    const std::lock_guard guard(lock);
    if (videoStopped) return;
    mustWake = StoreVideo(std::move(unit), keyFrame) && TakeWake();
    mustAsk = TakeRequest();
  }
  if (mustWake) wake();
  if (mustAsk) askForKeyFrame();
}

bool Outbox::PushControl(Payload message, bool text) {
  bool mustWake = false;
  {
    const std::lock_guard guard(lock);
    const bool full = control.size() >= limits.controlMessages ||
                      controlBytes + message->size() > limits.controlBytes;
    if (full && !control.empty()) return false;
    controlBytes += message->size();
    control.push_back({std::move(message), text});
    mustWake = TakeWake();
  }
  if (mustWake) wake();
  return true;
}

void Outbox::StopVideo() {
  const std::lock_guard guard(lock);
  videoStopped = true;
  video.clear();
  videoBytes = 0;
  requestDue = false;
}

std::optional<OutgoingMessage> Outbox::Take() {
  bool mustAsk = false;
  {
    const std::lock_guard guard(lock);
    if (!control.empty()) {
      OutgoingMessage message = std::move(control.front());
      control.pop_front();
      controlBytes -= message.payload->size();
      return message;
    }
    if (!video.empty()) {
      OutgoingMessage message{std::move(video.front()), false};
      video.pop_front();
      videoBytes -= message.payload->size();
      return message;
    }
    writerIdle = true;
    mustAsk = TakeRequest();
  }
  if (mustAsk) askForKeyFrame();
  return std::nullopt;
}

uint64_t Outbox::DroppedUnits() const {
  const std::lock_guard guard(lock);
  return droppedUnits;
}

// True when the unit waits to be written.
bool Outbox::StoreVideo(Payload unit, bool keyFrame) {
  if (awaitsKeyFrame && !keyFrame) {
    if (sawKeyFrame) ++droppedUnits;
    if (++unitsSinceRequest >= limits.unitsBetweenRequests) requestDue = true;
    return false;
  }
  const bool full =
      video.size() >= limits.videoUnits || videoBytes + unit->size() > limits.videoBytes;
  if (full && !video.empty()) {
    DropWaitingVideo();
    if (!keyFrame) {
      ++droppedUnits;
      awaitsKeyFrame = true;
      requestDue = true;
      return false;
    }
  }
  if (keyFrame) {
    awaitsKeyFrame = false;
    sawKeyFrame = true;
    requestDue = false;
    unitsSinceRequest = 0;
  }
  videoBytes += unit->size();
  video.push_back(std::move(unit));
  return true;
}

void Outbox::DropWaitingVideo() {
  droppedUnits += video.size();
  video.clear();
  videoBytes = 0;
}

// A key frame asked for while the viewer is still stuck would only be dropped again.
bool Outbox::TakeRequest() {
  if (!requestDue || !writerIdle) return false;
  requestDue = false;
  unitsSinceRequest = 0;
  return true;
}

bool Outbox::TakeWake() { return std::exchange(writerIdle, false); }

}  // namespace talu::loopback
