// How long a transform may keep us waiting, and what follows when it does.
//
// Small classes that are told the time. Each belongs to one encoder and is used by the thread that
// encodes.
#pragma once

#include <cstdint>

namespace talu {

// A moment some milliseconds after a start.
class Deadline {
 public:
  Deadline(int64_t startNs, int64_t ms);
  bool Reached(int64_t nowNs) const { return nowNs >= endNs; }

 private:
  int64_t endNs;
};

// Counts a picture that an asynchronous transform did not take. True when the encoder must now be
// rebuilt in software: at the second such picture in a row, and for hardware alone.
bool MissedInput(bool isHardware, int32_t& streak);

// Notices a transform that takes pictures and gives nothing back, as some do for ever: nobody can
// watch that session, so its encoder is rebuilt. Both many pictures and some seconds must have
// passed, since a paused session offers pictures hours apart and a slow one few of them. A rebuild
// that does not help is followed by longer and longer waits, so that neither the log nor the
// machine is worn out by an encoder that never works.
class SilenceWatch {
 public:
  // While stopped, nothing is counted.
  void Start();
  void Stop();

  void SawOutput();

  // Counts a picture that was offered and brought no output so far. True when it is time to
  // rebuild; the watch is then stopped, and its next wait is longer.
  bool PictureWithoutOutput(int64_t nowNs);

  // Seconds of silence that the last rebuild was waited for.
  int64_t LastWaitSeconds() const { return lastWaitMs / 1000; }

 private:
  static constexpr int64_t kFirstWaitMs = 3000;
  static constexpr int64_t kLongestWaitMs = 300'000;
  static constexpr int32_t kPictures = 60;

  bool watching = false;
  int32_t pictures = 0;
  int64_t sinceNs = 0;
  int64_t waitMs = kFirstWaitMs;
  int64_t lastWaitMs = 0;
};

}  // namespace talu
