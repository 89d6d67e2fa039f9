// The Linux implementation of the platform interface: sysfs for the disks,
// block-device ioctls for the device queries, pread for raw reads, mountinfo
// for volumes, uname and friends for host facts. Handles are file
// descriptors, and every one is opened read-only. Its operations are spread
// over the files of this folder by concern: disks and device queries
// (linux_disks.cpp), raw reads (linux_raw_reads.cpp), volumes
// (linux_volumes.cpp), device-mapper names (linux_dm_names.cpp), host facts
// (linux_host.cpp).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "partition/partition_table.h"
#include "platform/platform.h"

namespace kestrand {

// One whole disk of the host as the tool numbers it: an entry of
// <sys>/block that has media, leaving out RAM disks, compressed RAM disks,
// device-mapper and MD devices, optical drives and loop devices without a
// backing file. Disk numbers are positions in the list ordered by the
// kernel's device number (major, then minor).
struct ListedDisk {
  std::string Name;        // kernel name, e.g. "sda"
  uint32_t Major = 0;
  uint32_t Minor = 0;
  uint32_t Number = 0;     // the tool's disk number
  bool Removable = false;  // <sys>/block/NAME/removable says 1
  std::string DevicePath;  // <dev>/NAME
  std::string InstanceId;  // sysfs device path, e.g. "devices/pci0000:00/0000:00:1f.2/.../block/sda"
};

// <dev>/mapper as each ask finds it (the reports ask once per volume record,
// thousands of times on a pack of many disks). The folder of the last
// reading is held open, and an ask first looks at its change time (fstat,
// which walks no path); it is read again (opened anew by its path, one
// getdents64) unless it is unchanged since that reading and its last change
// lies more than one time stamp step before the reading began. Any change
// after a reading began stamps the folder with a later change time, from the
// same clock: a new or removed entry, and the folder itself being renamed or
// removed. (A file system mounted over the path goes unseen, as it would by
// any handle held open.)
class CMapperFolder {
 public:
  static constexpr int64_t kStampStep = 2'000'000'000;  // nanoseconds
  // `stampStep`: the coarsest step of change times the folder's file system
  // may have (tests, whose folders are new, pass a smaller one).
  explicit CMapperFolder(std::string path, int64_t stampStep = kStampStep)
      : path_(std::move(path)), stampStep_(stampStep) {}
  ~CMapperFolder();
  CMapperFolder(const CMapperFolder&) = delete;
  CMapperFolder& operator=(const CMapperFolder&) = delete;

  // Whether the folder holds anything but its control node now. A folder
  // that cannot be read holds nothing; it is looked at again at the next ask.
  bool AnyDevice();
  // How many times the folder was read.
  uint64_t Readings() const { return readings_; }

 private:
  // Opens the folder by its path and reads its entries now; false also when
  // it cannot be read (nothing is held then).
  bool Read(int64_t clock);

  std::string path_;
  int64_t stampStep_;
  int fd_ = -1;          // the folder of the last reading, when it could be read
  bool anyDevice_ = false;
  int64_t changed_ = 0;  // its change time at that reading, in nanoseconds
  int64_t readAt_ = 0;   // the clock when that reading began
  uint64_t readings_ = 0;
};

class CLinuxPlatform : public CPlatform {
 public:
  // The roots let tests point the platform at trees of their own.
  explicit CLinuxPlatform(std::string sysRoot = "/sys", std::string procRoot = "/proc",
                          std::string devRoot = "/dev");
  ~CLinuxPlatform() override;
  CLinuxPlatform(const CLinuxPlatform&) = delete;
  CLinuxPlatform& operator=(const CLinuxPlatform&) = delete;

  uint32_t SetErrorMode(uint32_t mode) override;

  WIN32_ERROR ListDiskInterfaces(std::vector<DiskInterface>& out) override;
  WIN32_ERROR OpenDevice(const std::u16string& devicePath, PlatformHandle& handle) override;
  void CloseDevice(PlatformHandle handle) override;

  WIN32_ERROR GetDeviceNumber(PlatformHandle device, uint32_t& deviceNumber) override;
  WIN32_ERROR GetDriveGeometry(PlatformHandle device, DISK_GEOMETRY_EX& geometry) override;
  WIN32_ERROR GetAccessAlignment(PlatformHandle device, STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR& alignment) override;
  WIN32_ERROR GetDriveLayout(PlatformHandle device, void* buffer, uint32_t size) override;
  WIN32_ERROR GetPartitionInfo(PlatformHandle device, PARTITION_INFORMATION_EX& info) override;

  NTSTATUS OpenDiskForRead(uint32_t diskNumber, PlatformHandle& handle) override;
  NTSTATUS OpenFileForRead(const std::string& fileName, PlatformHandle& handle) override;
  NTSTATUS ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer,
                  uint32_t* transferred) override;
  void CloseRead(PlatformHandle handle) override;
  void AdviseWillRead(PlatformHandle handle, int64_t offset, uint64_t length) override;

  WIN32_ERROR ListVolumes(std::vector<VolumeMounts>& out) override;
  WIN32_ERROR QueryDosDevice(char16_t letter, std::u16string& deviceName) override;
  uint32_t GetDriveType(char16_t letter) override;
  WIN32_ERROR QueryDynamicVolumeName(const GUID& volumeGuid, std::u16string& deviceName) override;

  WIN32_ERROR GetComputerName(std::u16string& name) override;
  OsVersion GetVersion() override;
  bool IsProductType(uint8_t productType) override;
  bool HasSuite(uint16_t suiteBit) override;
  ProcessorInfo GetProcessorInfo() override;
  WIN32_ERROR GetNodeClusterState(const std::u16string& computerName, uint32_t& state) override;
  NTSTATUS QueryPrimaryPackId(std::u16string& value) override;

 private:
  // Opens read-only and remembers the descriptor under the path; returns 0
  // or the errno.
  int OpenReadOnly(const std::string& path, PlatformHandle& handle);
  // The descriptor behind a handle this platform gave out, else -1.
  int DescriptorOf(PlatformHandle handle) const;
  void Forget(PlatformHandle handle);
  // The listed disk behind an open handle (by device number for a block
  // device, else by the path it was opened with); lists again once when
  // it is unknown. nullptr when it is not a listed disk.
  const ListedDisk* DiskBehind(PlatformHandle handle);
  const ListedDisk* DiskNumbered(uint32_t number);
  // A reader of the device behind the handle for the partition table code.
  WIN32_ERROR TableSource(PlatformHandle device, PartitionTableSource& source);

  std::string sysRoot_;
  std::string procRoot_;
  std::string devRoot_;
  std::vector<ListedDisk> disks_;
  std::map<PlatformHandle, std::string> openPaths_;  // descriptor -> path it was opened with
  CMapperFolder mapper_;
};

}  // namespace kestrand
