// The copy the registry query routine makes of the primary pack id. The
// value's bytes are whatever was stored; the text must never run past them.
#include <gtest/gtest.h>

#include <string>

#include "platform/registry_string_copy.h"

namespace kestrand {
namespace {

constexpr char16_t kPackId[] = u"{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}";

TEST(RegistryStringCopyTest, StoredTerminatorIsNotPartOfTheText) {
  RegistryStringCopy copy;
  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, kPackId, sizeof(kPackId)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), kPackId);
}

TEST(RegistryStringCopyTest, ValueWithoutTerminatorKeepsEveryCharacter) {
  RegistryStringCopy copy;
  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, kPackId, sizeof(kPackId) - 2), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), kPackId);
}

TEST(RegistryStringCopyTest, TextStopsAtTheFirstZeroAndAtTheOddByte) {
  const char16_t withZero[] = {u'A', u'B', 0, u'C', 0};
  RegistryStringCopy copy;
  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, withZero, sizeof(withZero)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), u"AB");

  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, u"XYZ", 5), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), u"XY");

  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, nullptr, 0), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), u"");
}

TEST(RegistryStringCopyTest, OnlyPlainStringsAreAccepted) {
  RegistryStringCopy copy;
  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, u"kept", 8), STATUS_SUCCESS_CODE);
  const uint32_t otherTypes[] = {0, 2, 3, 4, 7, 11};  // none, expand, binary, dword, multi, qword
  for (uint32_t type : otherTypes) {
    EXPECT_EQ(copy.Assign(type, kPackId, sizeof(kPackId)), STATUS_UNSUCCESSFUL_CODE) << type;
    EXPECT_EQ(copy.Text(), u"kept") << type;
  }
}

}  // namespace
}  // namespace kestrand
