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

// <dev>/mapper, held open from the first ask to the platform's end (the
// reports ask once per volume record, thousands of times on a pack of many
// disks). Every ask sees the folder as it is at that moment: it is watched
// (inotify) from before it is listed, so an ask that finds no event since
// the last listing knows the entries are still those, with one system call;
// any event, a folder that went, or a watch that cannot be set up, and the
// folder is read again from the start.
class CMapperFolder {
 public:
  explicit CMapperFolder(std::string path) : path_(std::move(path)) {}
  ~CMapperFolder();
  CMapperFolder(const CMapperFolder&) = delete;
  CMapperFolder& operator=(const CMapperFolder&) = delete;

  // Whether the folder holds anything but its control node now. A folder
  // that cannot be opened holds nothing; it is tried again at the next ask.
  bool AnyDevice();

 private:
  // The entries from the start into `buffer`: the bytes filled, or -1.
  long ReadEntries(char* buffer, size_t size);
  // Reads the folder's entries now.
  bool ListAnyDevice();
  // Whether the folder may have changed since it was last listed; the
  // events are used up. A folder that went is let go, to be opened anew.
  bool MayHaveChanged();
  // Watches the folder held open, when it is still the one at its path.
  void Watch();
  void Release();

  std::string path_;
  int fd_ = -1;
  int watch_ = -1;  // the inotify instance, or -1 when the folder is not watched
  bool listed_ = false;  // under the watch; anyDevice_ then holds the answer
  bool anyDevice_ = false;
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
