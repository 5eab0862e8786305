// Hands the encoder's output to the streaming library and counts what became of it.
//
// Made by the stream loop for one run; used by the stream thread alone.
#pragma once

#include <cstdint>

#include "base/sdk_session.h"
#include "base/session_flags.h"

namespace talu {

class FrameSender {
 public:
  // sdk gives the error texts; all three outlive this object.
  FrameSender(SdkSession& librarySession, const StreamSdk& streamSdk, SessionFlags& sessionFlags)
      : session(librarySession), sdk(streamSdk), flags(sessionFlags) {}

  // Takes one encoded unit; the time stamp counts milliseconds from the loop's start. While a key
  // frame is awaited anything else is dropped, so that the controller never gets a picture that
  // refers to one it has not seen.
  void OnEncodedFrame(const uint8_t* bytes, uint32_t length, bool keyFrame, int64_t timestampMs);

  int32_t Encoded() const { return static_cast<int32_t>(encoded); }
  int32_t SentOk() const { return static_cast<int32_t>(sent_ok); }
  int32_t SentErr() const { return static_cast<int32_t>(sent_err); }

 private:
  void CountResult(int32_t result, uint32_t length, bool keyFrame, int64_t timestampMs);

  SdkSession& session;
  const StreamSdk& sdk;
  SessionFlags& flags;
  // Unsigned, since a stream of years must wrap rather than overflow.
  uint32_t encoded = 0;  // units delivered by the encoder, sent or not
  uint32_t sent_ok = 0;
  uint32_t sent_err = 0;
};

}  // namespace talu
