// The status codes the platform answers in, and the storage and identity
// structures the tool reads, laid out exactly as the Windows storage stack
// returns them, so that one decoder and one report serve both builds. On
// Linux the platform layer fills them itself.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestrand {

using WIN32_ERROR = uint32_t;  // Win32 error code: 0 success
using NTSTATUS = int32_t;      // negative is a failure

constexpr WIN32_ERROR ERROR_SUCCESS_CODE = 0;
constexpr WIN32_ERROR ERROR_INVALID_FUNCTION_CODE = 1;
constexpr WIN32_ERROR ERROR_FILE_NOT_FOUND_CODE = 2;
constexpr WIN32_ERROR ERROR_PATH_NOT_FOUND_CODE = 3;
constexpr WIN32_ERROR ERROR_ACCESS_DENIED_CODE = 5;
constexpr WIN32_ERROR ERROR_INVALID_HANDLE_CODE = 6;
constexpr WIN32_ERROR ERROR_NOT_ENOUGH_MEMORY_CODE = 8;
constexpr WIN32_ERROR ERROR_INVALID_DATA_CODE = 13;
constexpr WIN32_ERROR ERROR_NOT_READY_CODE = 21;
constexpr WIN32_ERROR ERROR_GEN_FAILURE_CODE = 31;
constexpr WIN32_ERROR ERROR_SHARING_VIOLATION_CODE = 32;
constexpr WIN32_ERROR ERROR_HANDLE_EOF_CODE = 38;
constexpr WIN32_ERROR ERROR_NOT_SUPPORTED_CODE = 50;
constexpr WIN32_ERROR ERROR_INVALID_PARAMETER_CODE = 87;
constexpr WIN32_ERROR ERROR_INSUFFICIENT_BUFFER_CODE = 122;
constexpr WIN32_ERROR ERROR_NO_MORE_ITEMS_CODE = 259;
constexpr WIN32_ERROR ERROR_NO_MORE_FILES_CODE = 18;
constexpr WIN32_ERROR ERROR_NOT_FOUND_CODE = 1168;

constexpr NTSTATUS STATUS_SUCCESS_CODE = 0;
constexpr NTSTATUS STATUS_INVALID_PARAMETER_CODE = static_cast<NTSTATUS>(0xC000000D);
constexpr NTSTATUS STATUS_INVALID_HANDLE_CODE = static_cast<NTSTATUS>(0xC0000008);
constexpr NTSTATUS STATUS_NO_SUCH_DEVICE_CODE = static_cast<NTSTATUS>(0xC000000E);
constexpr NTSTATUS STATUS_END_OF_FILE_CODE = static_cast<NTSTATUS>(0xC0000011);
constexpr NTSTATUS STATUS_ACCESS_DENIED_CODE = static_cast<NTSTATUS>(0xC0000022);
constexpr NTSTATUS STATUS_OBJECT_NAME_NOT_FOUND_CODE = static_cast<NTSTATUS>(0xC0000034);
constexpr NTSTATUS STATUS_OBJECT_PATH_NOT_FOUND_CODE = static_cast<NTSTATUS>(0xC000003A);
constexpr NTSTATUS STATUS_SHARING_VIOLATION_CODE = static_cast<NTSTATUS>(0xC0000043);
constexpr NTSTATUS STATUS_INSUFFICIENT_RESOURCES_CODE = static_cast<NTSTATUS>(0xC000009A);
constexpr NTSTATUS STATUS_DEVICE_NOT_READY_CODE = static_cast<NTSTATUS>(0xC00000A3);
constexpr NTSTATUS STATUS_FILE_IS_A_DIRECTORY_CODE = static_cast<NTSTATUS>(0xC00000BA);
constexpr NTSTATUS STATUS_IO_DEVICE_ERROR_CODE = static_cast<NTSTATUS>(0xC0000185);
constexpr NTSTATUS STATUS_NO_MEDIA_IN_DEVICE_CODE = static_cast<NTSTATUS>(0xC0000013);
constexpr NTSTATUS STATUS_UNSUCCESSFUL_CODE = static_cast<NTSTATUS>(0xC0000001);
constexpr NTSTATUS STATUS_LDM_CONFIG_BROKEN_CODE = static_cast<NTSTATUS>(0xC0380002);

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16);

inline bool operator==(const GUID& a, const GUID& b) {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
  for (int i = 0; i < 8; ++i)
    if (a.Data4[i] != b.Data4[i]) return false;
  return true;
}

struct DISK_GEOMETRY {
  int64_t Cylinders;
  uint32_t MediaType;  // 11 removable media, 12 fixed hard disk
  uint32_t TracksPerCylinder;
  uint32_t SectorsPerTrack;
  uint32_t BytesPerSector;
};
static_assert(sizeof(DISK_GEOMETRY) == 24);

constexpr uint32_t MEDIA_TYPE_REMOVABLE = 11;
constexpr uint32_t MEDIA_TYPE_FIXED = 12;

// Only the 40-byte head is ever requested.
struct DISK_GEOMETRY_EX {
  DISK_GEOMETRY Geometry;
  int64_t DiskSize;
  uint8_t Data[8];
};
static_assert(sizeof(DISK_GEOMETRY_EX) == 40);

constexpr uint32_t PARTITION_STYLE_MBR = 0;
constexpr uint32_t PARTITION_STYLE_GPT = 1;
constexpr uint32_t PARTITION_STYLE_RAW = 2;

struct PARTITION_INFORMATION_MBR {
  uint8_t PartitionType;
  uint8_t BootIndicator;
  uint8_t RecognizedPartition;
  uint8_t Reserved;
  uint32_t HiddenSectors;
  GUID PartitionId;
};

struct PARTITION_INFORMATION_GPT {
  GUID PartitionType;
  GUID PartitionId;
  uint64_t Attributes;
  char16_t Name[36];
};

struct PARTITION_INFORMATION_EX {
  uint32_t PartitionStyle;
  uint32_t Reserved0;
  int64_t StartingOffset;
  int64_t PartitionLength;
  uint32_t PartitionNumber;
  uint8_t RewritePartition;
  uint8_t IsServicePartition;
  uint8_t Reserved1[2];
  union {
    PARTITION_INFORMATION_MBR Mbr;
    PARTITION_INFORMATION_GPT Gpt;
  };
};
static_assert(sizeof(PARTITION_INFORMATION_EX) == 144);
static_assert(offsetof(PARTITION_INFORMATION_EX, Mbr) == 32);

struct DRIVE_LAYOUT_INFORMATION_MBR {
  uint32_t Signature;
  uint32_t CheckSum;
};

struct DRIVE_LAYOUT_INFORMATION_GPT {
  GUID DiskId;
  int64_t StartingUsableOffset;
  int64_t UsableLength;
  uint32_t MaxPartitionCount;
  uint32_t Reserved;
};

// A variable-length buffer: PartitionCount entries start 48 bytes in.
struct DRIVE_LAYOUT_INFORMATION_EX {
  uint32_t PartitionStyle;
  uint32_t PartitionCount;
  union {
    DRIVE_LAYOUT_INFORMATION_MBR Mbr;
    DRIVE_LAYOUT_INFORMATION_GPT Gpt;
  };
  PARTITION_INFORMATION_EX PartitionEntry[1];
};
static_assert(offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry) == 48);
constexpr uint32_t DRIVE_LAYOUT_HEAD_BYTES = 48;
constexpr uint32_t PARTITION_ENTRY_BYTES = 144;

struct STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR {
  uint32_t Version;
  uint32_t Size;
  uint32_t BytesPerCacheLine;
  uint32_t BytesOffsetForCacheAlignment;
  uint32_t BytesPerLogicalSector;
  uint32_t BytesPerPhysicalSector;
  uint32_t BytesOffsetForSectorAlignment;
};
static_assert(sizeof(STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR) == 28);

}  // namespace kestrand
