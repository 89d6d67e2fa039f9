// The one interface between the tool's logic and the operating system.
// Everything here answers in the terms the reports print: Win32 error codes,
// NTSTATUS values and the Windows storage structures of types.h. The build
// picks the native implementation (platform/linux or platform/windows); tests
// install their own with InstallPlatform. At the end, what implementations
// without the Windows calls use to answer in their terms.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace kestrand {

// An open device or file. The value is the platform's own; kInvalidHandle
// (all bits set) means "not open".
using PlatformHandle = uint64_t;
constexpr PlatformHandle kInvalidHandle = ~PlatformHandle{0};

struct DiskInterface {
  std::u16string InstanceId;  // device instance id
  std::u16string DevicePath;  // what OpenDevice takes
};

struct VolumeMounts {
  std::u16string VolumeName;          // e.g. \\?\Volume{...}\ or /dev/sda1
  std::vector<std::u16string> Paths;  // where it is mounted, in the platform's order
};

struct OsVersion {
  uint32_t Major = 0;
  uint32_t Minor = 0;
  uint32_t Build = 0;
  std::u16string ServicePack;
};

struct ProcessorInfo {
  uint16_t Architecture = 0xFFFF;  // wProcessorArchitecture
  uint32_t Count = 0;
};

class CPlatform {
 public:
  virtual ~CPlatform() = default;

  // Process error mode: sets the mode, returns the previous one.
  virtual uint32_t SetErrorMode(uint32_t mode) = 0;

  // Disk interfaces present on the host, in enumeration order. Returns the
  // code that ended the enumeration: ERROR_NO_MORE_ITEMS (259) when every
  // interface was listed, otherwise the failure (the interfaces found before
  // it are still in `out`).
  virtual WIN32_ERROR ListDiskInterfaces(std::vector<DiskInterface>& out) = 0;

  // Opens a device path for reading (GENERIC_READ, FILE_SHARE_READ). Never
  // for writing.
  virtual WIN32_ERROR OpenDevice(const std::u16string& devicePath, PlatformHandle& handle) = 0;
  virtual void CloseDevice(PlatformHandle handle) = 0;

  // Device queries on an open device; each returns 0 or a Win32 code.
  virtual WIN32_ERROR GetDeviceNumber(PlatformHandle device, uint32_t& deviceNumber) = 0;
  virtual WIN32_ERROR GetDriveGeometry(PlatformHandle device, DISK_GEOMETRY_EX& geometry) = 0;
  virtual WIN32_ERROR GetAccessAlignment(PlatformHandle device,
                                         STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR& alignment) = 0;
  // Fills a DRIVE_LAYOUT_INFORMATION_EX of `size` bytes; answers
  // ERROR_INSUFFICIENT_BUFFER (122) when the layout does not fit, so the
  // caller grows the buffer and asks again.
  virtual WIN32_ERROR GetDriveLayout(PlatformHandle device, void* buffer, uint32_t size) = 0;
  virtual WIN32_ERROR GetPartitionInfo(PlatformHandle device, PARTITION_INFORMATION_EX& info) = 0;

  // Raw reading. The whole-disk device of a disk number, or a database file
  // named on the command line. Reads return the NTSTATUS a Windows reader
  // would see; a short read with success leaves the rest of the buffer as it
  // was. `transferred`, when given, is how many bytes a successful read
  // placed at the start of the buffer.
  virtual NTSTATUS OpenDiskForRead(uint32_t diskNumber, PlatformHandle& handle) = 0;
  virtual NTSTATUS OpenFileForRead(const std::string& fileName, PlatformHandle& handle) = 0;
  virtual NTSTATUS ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer,
                          uint32_t* transferred) = 0;
  virtual void CloseRead(PlatformHandle handle) = 0;
  // A hint that `length` bytes at `offset` are about to be read: the
  // platform may start fetching them. It changes nothing that a read returns;
  // by default it does nothing.
  virtual void AdviseWillRead(PlatformHandle /*handle*/, int64_t /*offset*/, uint64_t /*length*/) {}

  // Volumes with their mount paths, in the platform's order. Returns 0 or
  // the code that stopped the walk (volumes listed before it stay in `out`).
  virtual WIN32_ERROR ListVolumes(std::vector<VolumeMounts>& out) = 0;

  // Drive letters: the first device name behind "X:" (ERROR_FILE_NOT_FOUND
  // when the letter is not in use) and the drive type code of "X:".
  virtual WIN32_ERROR QueryDosDevice(char16_t letter, std::u16string& deviceName) = 0;
  virtual uint32_t GetDriveType(char16_t letter) = 0;

  // The device name under which the host sees the dynamic volume with this
  // volume GUID: 0 with the name, 2 when no device answers to it, or the
  // platform's code.
  virtual WIN32_ERROR QueryDynamicVolumeName(const GUID& volumeGuid, std::u16string& deviceName) = 0;

  // Host facts.
  virtual WIN32_ERROR GetComputerName(std::u16string& name) = 0;  // empty name: no size
  virtual OsVersion GetVersion() = 0;
  virtual bool IsProductType(uint8_t productType) = 0;  // VER_PRODUCT_TYPE, VER_EQUAL
  virtual bool HasSuite(uint16_t suiteBit) = 0;         // VER_SUITENAME, VER_OR
  virtual ProcessorInfo GetProcessorInfo() = 0;
  virtual WIN32_ERROR GetNodeClusterState(const std::u16string& computerName, uint32_t& state) = 0;

  // The "PrimaryPackId" value of the volume manager's service key, as text.
  virtual NTSTATUS QueryPrimaryPackId(std::u16string& value) = 0;
};

// The platform of this run: the installed one, else the native one.
CPlatform& ThePlatform();

// Replaces the platform for this process (tests); nullptr restores the native
// one. The caller keeps ownership.
void InstallPlatform(CPlatform* platform);

// The build's own implementation.
CPlatform& NativePlatform();

// The Win32 code a Windows caller gets for a failed NTSTATUS (the common
// cases of the system's own mapping); 0 for success, 31 for the rest.
WIN32_ERROR Win32FromNtStatus(NTSTATUS status);

// The usual convention for disks without real cylinders: 255 tracks per
// cylinder and 63 sectors per track unless the driver gives its own, and as
// many whole cylinders as fit.
constexpr uint32_t kDefaultTracksPerCylinder = 255;
constexpr uint32_t kDefaultSectorsPerTrack = 63;

DISK_GEOMETRY_EX MakeDiskGeometry(int64_t diskSize, uint32_t bytesPerSector, bool removable,
                                  uint32_t tracksPerCylinder = kDefaultTracksPerCylinder,
                                  uint32_t sectorsPerTrack = kDefaultSectorsPerTrack);

// `firstAlignedOffset` is the byte offset of the first logical sector that
// starts a physical sector (what Linux calls the alignment offset). Windows
// reports the complement instead: how far into its physical sector logical
// sector 0 lies.
STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR MakeAlignmentDescriptor(uint32_t logicalSectorSize,
                                                            uint32_t physicalSectorSize,
                                                            uint32_t firstAlignedOffset);

// UTF-8 (file names, host names, sysfs and /proc text) to and from the UTF-16
// the interface speaks. Invalid input never fails: a byte that does not start
// a valid sequence becomes U+FFFD, an unpaired surrogate too.
std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);

}  // namespace kestrand
