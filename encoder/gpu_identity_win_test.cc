#include "encoder/gpu_identity.h"

#include <gmock/gmock.h>

#include "encoder/fakes/encoder_fixture_win.h"

namespace talu {
namespace {

using testing::ElementsAre;

using GpuIdentity = EncoderFixture;

TEST_F(GpuIdentity, NamesTheDefaultAdapterAndItsDriver) {
  EXPECT_EQ(GpuIdentityKey(), kGpuKey);
  EXPECT_THAT(system.script.Calls(), ElementsAre("D3d11CreateDevice flags 0x0", "Device.QueryDxgi",
                                                 "DxgiDevice.GetAdapter", "Adapter.GetDesc",
                                                 "Adapter.CheckInterfaceSupport"));
}

TEST_F(GpuIdentity, EndsInZerosWhenTheDriverTellsNoVersion) {
  system.graphics.driverVersion = 0;
  EXPECT_EQ(GpuIdentityKey(), "Example Display Adapter|0000000000000000");
}

TEST_F(GpuIdentity, IsEmptyWithoutADeviceOrAnAdapterOrItsDescription) {
  for (const char* call :
       {"D3d11CreateDevice", "Device.QueryDxgi", "DxgiDevice.GetAdapter", "Adapter.GetDesc"}) {
    system.script.Fail(call, 1, E_FAIL);
    EXPECT_EQ(GpuIdentityKey(), "") << call;
  }
  EXPECT_EQ(log->Text(), "");
}

TEST_F(GpuIdentity, IsUtf8) {
  system.graphics.description = L"示例显卡 é";
  EXPECT_EQ(GpuIdentityKey(), "示例显卡 é|001F000000651196");
}

TEST_F(GpuIdentity, TakesADescriptionThatFillsItsRecord) {
  system.graphics.description = std::wstring(128, L'x');
  EXPECT_EQ(GpuIdentityKey(), std::string(128, 'x') + "|001F000000651196");
}

TEST_F(GpuIdentity, KeepsWholeCharactersOfALongDescription) {
  system.graphics.description = std::wstring(128, L'卡');
  std::string expected;
  while (expected.size() < 189) expected += "卡";
  EXPECT_EQ(GpuIdentityKey(), expected + "|001F000000651196");
}

TEST_F(GpuIdentity, IsSafeWithHalfACharacter) {
  system.graphics.description = std::wstring(1, static_cast<wchar_t>(0xD83D));
  EXPECT_EQ(GpuIdentityKey(), "\xEF\xBF\xBD|001F000000651196");
}

TEST_F(GpuIdentity, IsEmptyForAnEmptyDescriptionOnlyBeforeTheBar) {
  system.graphics.description.clear();
  EXPECT_EQ(GpuIdentityKey(), "|001F000000651196");
}

}  // namespace
}  // namespace talu
