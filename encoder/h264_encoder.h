// Turns pictures of one size into H.264 with a Media Foundation encoder transform.
//
// Owned by whoever encodes: the push session for a subscription, the self-test for itself. Init,
// Encode, ForceKeyFrame and Shutdown are called by one thread at a time; SetBitrate may come from
// another thread meanwhile, but never while the object is destroyed.
//
// An encoder that stops working while it is in use is rebuilt within Encode, which says so in the
// log: hardware that does not ask for two pictures in a row gives way to software, and any
// transform that brings no output over 60 pictures and 3 seconds is built anew (longer waits follow
// while that does not help), hardware as software. The pictures up to then are lost; the next
// output begins with a key frame.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace talu {

// Takes one encoded unit on the encoding thread. The bytes are valid during the call only.
using EncodedFrameCallback =
    std::function<void(const uint8_t* data, uint32_t size, bool keyFrame, int64_t timestampMs)>;

// Forces the software encoder (or allows hardware) for the rest of the process, and logs which.
// Called before any encoder exists.
void SetEncoderPreference(bool forceSoftware);

struct EncoderState;

class H264Encoder {
 public:
  // Nothing is built until Init. Calls before it are safe and do nothing.
  H264Encoder();
  ~H264Encoder();
  H264Encoder(const H264Encoder&) = delete;
  H264Encoder& operator=(const H264Encoder&) = delete;

  // Chooses, configures and starts a transform: hardware where it is allowed and works, else the
  // system's software encoder. Sizes in pixels, even; fps of 0 or below means 30; kbps in kbit/s.
  // True when ready; fps then holds the rate the encoder settled on. Takes up to 0.6 s on hardware
  // that turns out not to work.
  bool Init(int32_t width, int32_t height, int32_t fps, int32_t kbps);

  // Changes the mean bit rate of a running encoder, in kbit/s; below 1 does nothing. Any thread. A
  // change that arrives while the encoder is rebuilt is lost, as a rebuild starts from Init's rate.
  void SetBitrate(int32_t kbps);

  // Makes the next picture a key frame, where the transform can.
  void ForceKeyFrame();

  // Encodes one picture of width x height BGRA pixels without row padding. Output goes to onOutput,
  // which must not be empty, zero or more times before this returns; it need not be this picture's.
  // False when the picture was dropped. Takes about 0.3 s at most, but for a rebuild.
  bool Encode(const uint8_t* bgra, int64_t timestampMs, const EncodedFrameCallback& onOutput);

  // Ends the transform and releases Media Foundation and COM. May be called more than once.
  void Shutdown();

  // True when the transform in use is a hardware one.
  bool IsHardware() const;

  // As given to Init, but for the frame rate. Read by the encoding thread.
  int32_t width = 0;
  int32_t height = 0;
  int32_t fps = 30;

 private:
  // Ends a hardware transform that does not work and remembers that, here and on disk.
  void GiveUpHardware();
  // Puts a software encoder in the place of a hardware one that stopped asking for pictures.
  void FallBackToSoftware();
  // Counts a picture's outcome; builds a new encoder when nothing came out for too long. True when
  // it did.
  bool RebuildIfSilent(bool delivered);

  std::unique_ptr<EncoderState> state;
};

}  // namespace talu
