#include "devkit/controller/stream_statistics.h"

#include <gtest/gtest.h>

namespace talu::controller {
namespace {

TEST(StreamStatistics, NothingIsAllZeros) {
  EXPECT_EQ(StreamStatistics().Json(),
            "{\"frames\":0,\"keyFrames\":0,\"gaps\":0,\"lostUnits\":0,\"bytes\":0,"
            "\"seconds\":0.000,\"framesPerSecond\":0.00,\"kbitPerSecond\":0.0,"
            "\"longestIntervalMs\":0.0,\"ageMs\":{\"min\":0.0,\"median\":0.0,\"p95\":0.0,"
            "\"max\":0.0}}");
}

TEST(StreamStatistics, CountsFramesGapsRatesAndAges) {
  StreamStatistics statistics;
  // Sequence, key frame, arrival and age in ms: 2 units are missing after the second.
  statistics.Add({true, 0xffffffff, 0, 1'000'000 - 5'000}, 1000, 1'000'000);
  statistics.Add({false, 0, 0, 1'100'000 - 1'000}, 500, 1'100'000);
  statistics.Add({true, 3, 0, 1'500'000 - 9'000}, 2000, 1'500'000);
  EXPECT_EQ(statistics.Frames(), 3);
  EXPECT_EQ(statistics.Json(),
            "{\"frames\":3,\"keyFrames\":2,\"gaps\":1,\"lostUnits\":2,\"bytes\":3500,"
            "\"seconds\":0.500,\"framesPerSecond\":4.00,\"kbitPerSecond\":40.0,"
            "\"longestIntervalMs\":400.0,\"ageMs\":{\"min\":1.0,\"median\":5.0,\"p95\":9.0,"
            "\"max\":9.0}}");
}

}  // namespace
}  // namespace talu::controller
