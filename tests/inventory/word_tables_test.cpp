// The words shown for host codes outside their tables, and the product type
// and suite texts.
#include <gtest/gtest.h>

#include <string>

#include "common/text_format.h"
#include "inventory/word_tables.h"
#include "support/fake_host_platform.h"

namespace kestrand {
namespace {

template <class Lookup>
std::u16string WordOf(Lookup lookup, uint32_t code) {
  CWideString place;
  EXPECT_EQ(lookup(code, place), 0u);
  return place.Get() ? std::u16string(place.Get()) : u"<none>";
}

// The words inside the tables show in the host, volume and drive letter
// reports; here only what lies past them.
TEST(WordTablesTest, CodesOutsideTheTablesHaveAWordToo) {
  EXPECT_EQ(WordOf(LookupProcessorWord, 12), u"UNKNOWN");
  EXPECT_EQ(WordOf(LookupProcessorWord, 0xFFFF), u"UNKNOWN");
  EXPECT_EQ(WordOf(LookupClusterStateWord, 2), u"Unknown");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 0), u"Unknown");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 7), u"Unknown");
}

class VersionTextTest : public ::testing::Test {
 protected:
  FakeHostPlatform host_;
  ScopedPlatform installed_{host_};
};

TEST_F(VersionTextTest, ProductTypesJoinInTableOrderOrAreNotFound) {
  host_.ProductTypes = {2, 3};  // domain controller, server: asked in the other order
  CWideString text;
  ASSERT_EQ(BuildProductTypeText(text), 0u);
  EXPECT_EQ(std::u16string(text.Get()), u"Server, Domain Controller");

  host_.ProductTypes.clear();
  CWideString none;
  EXPECT_EQ(BuildProductTypeText(none), 2u);
  EXPECT_EQ(none.Get(), nullptr);
}

TEST_F(VersionTextTest, SuitesJoinInTableOrderOrGiveAnEmptyText) {
  host_.SuiteMask = 0x06B7 | 0x0100;  // every suite of the table, and one it does not know
  CWideString all;
  ASSERT_EQ(BuildSuitesText(all), 0u);
  EXPECT_EQ(std::u16string(all.Get()),
            u"Backoffice, Blade, Datacenter, Enterprise, Personal, Small Business, "
            u"Small Business Restricted, Terminal");

  host_.SuiteMask = 0;
  CWideString none;
  ASSERT_EQ(BuildSuitesText(none), 0u);
  ASSERT_NE(none.Get(), nullptr);
  EXPECT_EQ(WideLength(none.Get()), 0u);
}

}  // namespace
}  // namespace kestrand
