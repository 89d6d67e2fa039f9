// Raw reading: a disk through the kernel device of its partition 0, which
// spans the whole disk, or a saved database file. Both handles are
// synchronous, so every read returns the transfer's final NTSTATUS.
#include "common/text_format.h"
#include "platform/windows/windows_platform.h"

namespace kestrand {
namespace {

constexpr ACCESS_MASK kDiskReadAccess = SYNCHRONIZE | FILE_READ_DATA;
// The synchronous open option the disk reader has always used (the alertable
// variant: the tool queues no APCs, so no wait is ever cut short).
constexpr ULONG kSynchronousOpen = 0x10;

static_assert(kDiskReadAccess == 0x00100001);
static_assert(OBJ_CASE_INSENSITIVE == 0x40);
static_assert(sizeof(OBJECT_ATTRIBUTES) == 48);

// The kernel name of the device that spans disk `diskNumber`, truncated to
// the 260-character buffer it has always had (it never comes near).
std::u16string WholeDiskDeviceName(uint32_t diskNumber) {
  std::u16string name =
      FormatWide(u"\\Device\\Harddisk%d\\Partition0", static_cast<int32_t>(diskNumber));
  if (name.size() > MAX_PATH - 1) name.resize(MAX_PATH - 1);
  return name;
}

}  // namespace

NTSTATUS CWindowsPlatform::OpenDiskForRead(uint32_t diskNumber, PlatformHandle& handle) {
  const std::u16string deviceName = WholeDiskDeviceName(diskNumber);
  UNICODE_STRING countedName{};
  if (!RtlCreateUnicodeString(&countedName, ToWide(deviceName)))
    return STATUS_INSUFFICIENT_RESOURCES_CODE;

  OBJECT_ATTRIBUTES attributes{};
  attributes.Length = sizeof(attributes);
  attributes.RootDirectory = nullptr;
  attributes.ObjectName = &countedName;
  attributes.Attributes = OBJ_CASE_INSENSITIVE;
  IO_STATUS_BLOCK ioStatus{};
  HANDLE disk = nullptr;
  const NTSTATUS status = NtOpenFile(&disk, kDiskReadAccess, &attributes, &ioStatus,
                                     FILE_SHARE_READ, kSynchronousOpen);
  RtlFreeUnicodeString(&countedName);
  if (status >= 0) handle = FromHandle(disk);
  return status;
}

NTSTATUS CWindowsPlatform::OpenFileForRead(const std::string& fileName, PlatformHandle& handle) {
  HANDLE file = CreateFileA(fileName.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                            OPEN_EXISTING, 0, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    handle = FromHandle(file);
    return STATUS_SUCCESS_CODE;
  }
  // The NTSTATUS behind the failure. A failure found before any NT call was
  // made leaves none; it must still read as a failure.
  const NTSTATUS status = RtlGetLastNtStatus();
  return status < 0 ? status : STATUS_UNSUCCESSFUL_CODE;
}

NTSTATUS CWindowsPlatform::ReadAt(PlatformHandle handle, int64_t offset, uint32_t length,
                                  void* buffer, uint32_t* transferred) {
  if (transferred) *transferred = 0;
  // An invalid handle would name the current process to the NT calls.
  if (handle == kInvalidHandle) return STATUS_INVALID_HANDLE_CODE;
  if (buffer == nullptr && length != 0) return STATUS_INVALID_PARAMETER_CODE;
  IO_STATUS_BLOCK ioStatus{};
  LARGE_INTEGER byteOffset{};
  byteOffset.QuadPart = offset;
  const NTSTATUS status =
      NtReadFile(ToHandle(handle), nullptr, nullptr, nullptr, &ioStatus, buffer, length, &byteOffset, nullptr);
  if (transferred && status >= 0 && ioStatus.Information <= length)
    *transferred = static_cast<uint32_t>(ioStatus.Information);
  return status;
}

void CWindowsPlatform::CloseRead(PlatformHandle handle) {
  if (handle != kInvalidHandle) CloseHandle(ToHandle(handle));
}

}  // namespace kestrand
