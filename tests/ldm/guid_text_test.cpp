#include "ldm/guid_text.h"

#include <gtest/gtest.h>

#include "support/ldm_builder.h"

namespace kestrand {
namespace {

bool Parses(const char* text) {
  GUID guid{};
  return ParseGuidText(text, guid);
}

TEST(GuidTextTest, ReadsThePartsInOrder) {
  GUID guid{};
  ASSERT_TRUE(ParseGuidText("03c0c4fc-8b6f-402b-9431-4be2e5823b1c", guid));
  EXPECT_EQ(guid.Data1, 0x03c0c4fcu);
  EXPECT_EQ(guid.Data2, 0x8b6f);
  EXPECT_EQ(guid.Data3, 0x402b);
  const uint8_t last[8] = {0x94, 0x31, 0x4b, 0xe2, 0xe5, 0x82, 0x3b, 0x1c};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(guid.Data4[i], last[i]) << i;
}

TEST(GuidTextTest, AcceptsEitherCase) {
  GUID lower{}, upper{};
  ASSERT_TRUE(ParseGuidText("bb1570c9-aa66-47df-a8f1-4c89db3e0704", lower));
  ASSERT_TRUE(ParseGuidText("BB1570C9-AA66-47DF-A8F1-4C89DB3E0704", upper));
  EXPECT_EQ(lower, upper);
  EXPECT_EQ(test::GuidToText(upper), "bb1570c9-aa66-47df-a8f1-4c89db3e0704");
}

TEST(GuidTextTest, RefusesAnythingButTheBareForm) {
  EXPECT_FALSE(Parses("{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}"));  // braces
  EXPECT_FALSE(Parses("03c0c4fc-8b6f-402b-9431-4be2e5823b1c}"));
  EXPECT_FALSE(Parses(" 03c0c4fc-8b6f-402b-9431-4be2e5823b1c"));   // leading blank
  EXPECT_FALSE(Parses("03c0c4fc-8b6f-402b-9431-4be2e5823b1c "));   // trailing blank
  EXPECT_FALSE(Parses("03c0c4fc-8b6f-402b-9431-4be2e5823b1"));     // a digit short
  EXPECT_FALSE(Parses("03c0c4fc-8b6f-402b-9431-4be2e5823b1c0"));   // a digit more
  EXPECT_FALSE(Parses("03c0c4f-c8b6f-402b-9431-4be2e5823b1c"));    // hyphen misplaced
  EXPECT_FALSE(Parses("03c0c4fc-8b6f-402b-94314be2e5823b1c"));     // hyphen missing
  EXPECT_FALSE(Parses("03c0c4fc-8b6f-402b-9431-4be2e5823b1g"));    // not a hex digit
  EXPECT_FALSE(Parses("03c0c4fc_8b6f_402b_9431_4be2e5823b1c"));
  EXPECT_FALSE(Parses(""));
  EXPECT_FALSE(Parses(nullptr));
}

}  // namespace
}  // namespace kestrand
