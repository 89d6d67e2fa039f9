#include "ldm/guid_text.h"

#include <gtest/gtest.h>

#include "support/ldm_builder.h"

namespace kestrand {
namespace {

TEST(GuidTextTest, ReadsThePartsInOrderInEitherCase) {
  GUID lower{}, upper{};
  ASSERT_TRUE(ParseGuidText("03c0c4fc-8b6f-402b-9431-4be2e5823b1c", lower));
  ASSERT_TRUE(ParseGuidText("03C0C4FC-8B6F-402B-9431-4BE2E5823B1C", upper));
  EXPECT_EQ(lower, upper);
  EXPECT_EQ(lower.Data1, 0x03c0c4fcu);
  EXPECT_EQ(lower.Data2, 0x8b6f);
  EXPECT_EQ(lower.Data3, 0x402b);
  EXPECT_EQ(test::GuidToText(lower), "03c0c4fc-8b6f-402b-9431-4be2e5823b1c");
}

TEST(GuidTextTest, RefusesAnythingButTheBareForm) {
  for (const char* text : {
           "{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}",  // braces
           "03c0c4fc-8b6f-402b-9431-4be2e5823b1c}",
           " 03c0c4fc-8b6f-402b-9431-4be2e5823b1c",   // leading blank
           "03c0c4fc-8b6f-402b-9431-4be2e5823b1c ",   // trailing blank
           "03c0c4fc-8b6f-402b-9431-4be2e5823b1",     // a digit short
           "03c0c4fc-8b6f-402b-9431-4be2e5823b1c0",   // a digit more
           "03c0c4f-c8b6f-402b-9431-4be2e5823b1c",    // hyphen misplaced
           "03c0c4fc-8b6f-402b-94314be2e5823b1c",     // hyphen missing
           "03c0c4fc-8b6f-402b-9431-4be2e5823b1g",    // not a hex digit
           "",
       }) {
    GUID guid{};
    EXPECT_FALSE(ParseGuidText(text, guid)) << text;
  }
  GUID guid{};
  EXPECT_FALSE(ParseGuidText(nullptr, guid));
}

}  // namespace
}  // namespace kestrand
