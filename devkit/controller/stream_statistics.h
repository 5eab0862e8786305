// What a stream was like: counted unit by unit, told as one line of JSON. One thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "devkit/loopback/wire.h"

namespace talu::controller {

class StreamStatistics {
 public:
  // arrivedUs on the clock of the header's hand-over time.
  void Add(const loopback::VideoHeader& header, size_t unitBytes, int64_t arrivedUs);

  int64_t Frames() const { return frames; }

  // Rates count from the first picture's arrival to the last one's.
  std::string Json() const;

 private:
  int64_t frames = 0;
  int64_t keyFrames = 0;
  // Places where the sequence jumped, and units missing there.
  int64_t gaps = 0;
  int64_t lostUnits = 0;
  int64_t bytes = 0;
  int64_t bytesAfterFirst = 0;
  uint32_t lastSequence = 0;
  int64_t firstArrivalUs = 0;
  int64_t lastArrivalUs = 0;
  int64_t longestIntervalUs = 0;
  std::vector<int64_t> agesUs;
};

}  // namespace talu::controller
