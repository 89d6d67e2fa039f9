// The bytes of the mount point manager's query and the reading of its
// answer, which comes from a driver and is checked like any other input; and
// the copy the registry query routine makes of the primary pack id, whose
// bytes are whatever was stored: the text must never run past them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/query_buffers.h"

namespace kestrand {
namespace {

constexpr GUID kVolumeGuid = {0x11223344, 0x5566, 0x7788, {0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x01}};

void Put32(std::vector<uint8_t>& bytes, size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

void Put16(std::vector<uint8_t>& bytes, size_t at, uint16_t value) {
  bytes[at] = static_cast<uint8_t>(value);
  bytes[at + 1] = static_cast<uint8_t>(value >> 8);
}

// A MOUNTMGR_MOUNT_POINTS of `size` bytes with `count` entries, the first
// naming its device at `offset` with `length` bytes.
std::vector<uint8_t> Answer(size_t size, uint32_t count, uint32_t offset, uint16_t length) {
  std::vector<uint8_t> bytes(size, 0);
  Put32(bytes, 0, static_cast<uint32_t>(size));
  Put32(bytes, 4, count);
  Put32(bytes, 8 + 16, offset);
  Put16(bytes, 8 + 20, length);
  return bytes;
}

void PutName(std::vector<uint8_t>& bytes, size_t at, const std::u16string& name) {
  for (size_t i = 0; i < name.size(); ++i) Put16(bytes, at + 2 * i, name[i]);
}

TEST(MountManagerRequestTest, RequestNamesTheUniqueIdAndNothingElse) {
  const MountPointRequest request = BuildMountPointRequest(kVolumeGuid);
  const uint8_t expected[48] = {
      0, 0, 0, 0, 0, 0, 0, 0,                          // no symbolic link name
      24, 0, 0, 0, 24, 0, 0, 0,                        // unique id at 24, 24 bytes
      0, 0, 0, 0, 0, 0, 0, 0,                          // no device name
      'D', 'M', 'I', 'O', ':', 'I', 'D', ':',          // dynamic volume prefix
      0x44, 0x33, 0x22, 0x11, 0x66, 0x55, 0x88, 0x77,  // GUID as held in memory
      0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x01,
  };
  ASSERT_EQ(request.size(), sizeof(expected));
  EXPECT_EQ(std::memcmp(request.data(), expected, sizeof(expected)), 0);
}

TEST(MountManagerRequestTest, ReadsTheFirstEntrysDeviceName) {
  const std::u16string name = u"\\Device\\HarddiskDmVolumes\\PackDg0\\Volume1";
  struct Case {
    size_t Size;
    uint32_t Count, Offset;
    uint16_t Length;
    std::u16string Stored, Read;
  };
  const Case cases[] = {
      {200, 2, 64, static_cast<uint16_t>(2 * name.size()), name, name},
      {40, 1, 32, 8, u"\\Dev", u"\\Dev"},  // ends exactly at the end of the answer
      {48, 1, 32, 7, u"ABCD", u"ABC"},       // an odd length drops the half character
  };
  for (const Case& c : cases) {
    auto answer = Answer(c.Size, c.Count, c.Offset, c.Length);
    PutName(answer, c.Offset, c.Stored);
    std::u16string read = u"stale";
    EXPECT_EQ(ReadMountPointDeviceName(answer.data(), answer.size(), read), 0u);
    EXPECT_EQ(read, c.Read);
  }
  auto none = Answer(48, 0, 0, 0);
  std::u16string read = u"stale";
  EXPECT_EQ(ReadMountPointDeviceName(none.data(), none.size(), read), ERROR_FILE_NOT_FOUND_CODE);
  EXPECT_TRUE(read.empty());
}

TEST(MountManagerRequestTest, NamesOutsideTheAnswerAreRefused) {
  struct Case {
    size_t Size;
    uint32_t Offset;
    uint16_t Length;
  };
  const Case cases[] = {
      {48, 49, 0},             // starts past the end
      {48, 40, 10},            // runs past the end by two bytes
      {48, 0xFFFFFFFFu, 4},    // offset that wraps when added
      {64, 2, 0xFFFF},         // length far beyond the buffer
  };
  for (const Case& c : cases) {
    auto answer = Answer(c.Size, 1, c.Offset, c.Length);
    std::u16string read = u"stale";
    EXPECT_EQ(ReadMountPointDeviceName(answer.data(), answer.size(), read), ERROR_INVALID_DATA_CODE)
        << c.Offset << "+" << c.Length;
    EXPECT_TRUE(read.empty());
  }
}

TEST(MountManagerRequestTest, AnswersTooShortForTheirHeaderAreRefused) {
  std::u16string read;
  auto tiny = Answer(32, 1, 0, 0);
  EXPECT_EQ(ReadMountPointDeviceName(tiny.data(), 7, read), ERROR_INVALID_DATA_CODE);
  // A count but no room for the entry it announces.
  EXPECT_EQ(ReadMountPointDeviceName(tiny.data(), 31, read), ERROR_INVALID_DATA_CODE);
  EXPECT_EQ(ReadMountPointDeviceName(nullptr, 48, read), ERROR_INVALID_DATA_CODE);
}

// ------------------------------------------------------------ the registry value copy

constexpr char16_t kPackId[] = u"{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}";

TEST(RegistryStringCopyTest, StoredTerminatorIsNotPartOfTheText) {
  CRegistryStringCopy copy;
  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, kPackId, sizeof(kPackId)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), kPackId);
}

TEST(RegistryStringCopyTest, ValueWithoutTerminatorKeepsEveryCharacter) {
  CRegistryStringCopy copy;
  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, kPackId, sizeof(kPackId) - 2), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), kPackId);
}

TEST(RegistryStringCopyTest, TextStopsAtTheFirstZeroAndAtTheOddByte) {
  const char16_t withZero[] = {u'A', u'B', 0, u'C', 0};
  CRegistryStringCopy copy;
  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, withZero, sizeof(withZero)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), u"AB");

  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, u"XYZ", 5), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), u"XY");

  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, nullptr, 0), STATUS_SUCCESS_CODE);
  EXPECT_EQ(copy.Text(), u"");
}

TEST(RegistryStringCopyTest, OnlyPlainStringsAreAccepted) {
  CRegistryStringCopy copy;
  ASSERT_EQ(copy.Assign(REG_SZ_TYPE, u"kept", 8), STATUS_SUCCESS_CODE);
  const uint32_t otherTypes[] = {0, 2, 3, 4, 7, 11};  // none, expand, binary, dword, multi, qword
  for (uint32_t type : otherTypes) {
    EXPECT_EQ(copy.Assign(type, kPackId, sizeof(kPackId)), STATUS_UNSUCCESSFUL_CODE) << type;
    EXPECT_EQ(copy.Text(), u"kept") << type;
  }
}

}  // namespace
}  // namespace kestrand
