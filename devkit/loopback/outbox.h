// What waits to be written to one viewer: control messages and video, bounded in both.
//
// A viewer that reads too slowly loses video up to the next key frame, never gets an ever older
// picture. Control messages go ahead of video and are never dropped silently.
// Owned by the viewer's connection and by the sender's side together. Push calls come from any
// thread, Take from the network thread.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

#include "devkit/loopback/wire.h"

namespace talu::loopback {

struct OutboxLimits {
  // About one second at 60 pictures a second: longer and the picture is old anyway.
  size_t videoUnits = 60;
  size_t videoBytes = 4u << 20;
  size_t controlMessages = 1024;
  size_t controlBytes = 4u << 20;
  // A viewer that still waits for a key frame after so many other units asks for one again.
  size_t unitsBetweenRequests = 60;
};

struct OutgoingMessage {
  Payload payload;
  bool text;
};

class Outbox {
 public:
  // wake is called, without any lock, when there is something to take after Take had nothing.
  // askForKeyFrame is called, without any lock, when units were dropped and the viewer has caught
  // up, so that a key frame made now will get through.
  Outbox(const OutboxLimits& outboxLimits, std::function<void()> wakeWriter,
         std::function<void()> keyFrameRequest);

  // A unit, dropped while a key frame is awaited (as it is at first) and it is none, or when video
  // was stopped.
  void PushVideo(Payload unit, bool keyFrame);

  // False when the viewer lets its messages pile up; then nothing is kept. One message larger than
  // the limit goes through when nothing else waits.
  bool PushControl(Payload message, bool text);

  // Drops the video that waits and all that will come.
  void StopVideo();

  // The next message to write, nothing when all is written; then the next push wakes.
  std::optional<OutgoingMessage> Take();

  // How many units the viewer did not get, those before its first key frame not counted.
  uint64_t DroppedUnits() const;

 private:
  bool StoreVideo(Payload unit, bool keyFrame);
  void DropWaitingVideo();
  bool TakeRequest();
  bool TakeWake();

  const OutboxLimits limits;
  const std::function<void()> wake;
  const std::function<void()> askForKeyFrame;

  mutable std::mutex lock;
  std::deque<Payload> video;
  std::deque<OutgoingMessage> control;
  size_t videoBytes = 0;
  size_t controlBytes = 0;
  bool videoStopped = false;
  bool awaitsKeyFrame = true;
  bool requestDue = false;
  bool writerIdle = true;
  size_t unitsSinceRequest = 0;
  uint64_t droppedUnits = 0;
  bool sawKeyFrame = false;
};

}  // namespace talu::loopback
