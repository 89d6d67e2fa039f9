// The name under which the host sees a dynamic volume, by its volume GUID.
#include <gtest/gtest.h>

#include <string>

#include "inventory/volume_mount_name.h"
#include "support/fake_host_platform.h"

namespace kestrand {
namespace {

constexpr GUID kKnown = {0x1b77da20, 0xc717, 0x11d0, {0xa5, 0xbe, 0x00, 0xa0, 0xc9, 0x1d, 0xb7, 0x3c}};
constexpr GUID kUnknown = {0x1b77da20, 0xc717, 0x11d0, {0xa5, 0xbe, 0x00, 0xa0, 0xc9, 0x1d, 0xb7, 0x3d}};

class VolumeMountNameTest : public ::testing::Test {
 protected:
  VolumeMountNameTest() { host_.DynamicVolumes = {{kKnown, u"\\Device\\HarddiskDmVolumes\\PackDg0\\Volume1"}}; }

  FakeHostPlatform host_;
  ScopedPlatform installed_{host_};
};

TEST_F(VolumeMountNameTest, KnownGuidGivesItsDeviceNameAndIsAskedEveryTime) {
  std::u16string name;
  EXPECT_EQ(GetVolumeMountName(&kKnown, name), 0u);
  EXPECT_EQ(name, u"\\Device\\HarddiskDmVolumes\\PackDg0\\Volume1");
  std::u16string again;
  EXPECT_EQ(GetVolumeMountName(&kKnown, again), 0u);
  EXPECT_EQ(again, name);
  EXPECT_EQ(host_.DynamicVolumeQueries, 2);
}

TEST_F(VolumeMountNameTest, FailuresLeaveNoName) {
  std::u16string name = u"left over";
  EXPECT_EQ(GetVolumeMountName(&kUnknown, name), 2u);
  EXPECT_TRUE(name.empty());
  name = u"left over";
  EXPECT_EQ(GetVolumeMountName(nullptr, name), 87u);
  EXPECT_TRUE(name.empty());
  EXPECT_EQ(host_.DynamicVolumeQueries, 1);  // a missing GUID asks nothing
  host_.DynamicVolumeFailure = 5;
  name = u"left over";
  EXPECT_EQ(GetVolumeMountName(&kKnown, name), 5u);
  EXPECT_TRUE(name.empty());
}

}  // namespace
}  // namespace kestrand
