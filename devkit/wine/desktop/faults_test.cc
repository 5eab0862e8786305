#include "devkit/wine/desktop/faults.h"

#include <gtest/gtest.h>

namespace talu {
namespace {

DesktopFaults Parse(std::string_view text) {
  std::string complaint;
  const DesktopFaults faults = ParseDesktopFaults(text, &complaint);
  EXPECT_EQ(complaint, "");
  return faults;
}

std::string Complaint(std::string_view text) {
  std::string complaint;
  ParseDesktopFaults(text, &complaint);
  return complaint;
}

TEST(DesktopFaults, NothingIsAskedForByAnEmptyText) {
  const DesktopFaults faults = Parse("\n# access-lost\n  \r\n");
  EXPECT_FALSE(faults.accessLost);
  EXPECT_FALSE(faults.acquireResult.has_value());
  EXPECT_EQ(faults.duplicateFailures, 0u);
  EXPECT_FALSE(faults.noFrames);
  EXPECT_FALSE(faults.hideCursor);
}

TEST(DesktopFaults, EveryLineIsAFaultOfItsOwn) {
  const DesktopFaults faults = Parse(
      "access-lost\r\n  no-frames\nhide-cursor\nduplicate-fails\t3\nacquire-fails 0x80004005");
  EXPECT_TRUE(faults.accessLost);
  EXPECT_TRUE(faults.noFrames);
  EXPECT_TRUE(faults.hideCursor);
  EXPECT_EQ(faults.duplicateFailures, 3u);
  EXPECT_EQ(faults.acquireResult, 0x80004005u);
}

TEST(DesktopFaults, ARemovedDeviceIsDxgisOwnResult) {
  EXPECT_EQ(Parse("device-removed").acquireResult, 0x887A0005u);
}

TEST(DesktopFaults, TheFirstLineThatCannotBeUnderstoodIsNamed) {
  EXPECT_EQ(Complaint("no-frames\nno-frame\nwhat"), "no-frame");
  EXPECT_EQ(Complaint("acquire-fails"), "acquire-fails");
  EXPECT_EQ(Complaint("duplicate-fails many"), "duplicate-fails many");
  EXPECT_EQ(Complaint("access-lost 1"), "access-lost 1");
  EXPECT_EQ(Complaint("duplicate-fails 99999999999"), "duplicate-fails 99999999999");
}

}  // namespace
}  // namespace talu
