// The Windows implementation of the platform interface. Its operations are
// spread over the files of this folder by concern: disks and device queries
// (windows_disks.cpp), raw reads (windows_raw_read.cpp), volumes, drive
// letters and the mount point manager (windows_volumes.cpp), host facts and
// the registry (windows_host.cpp).
#pragma once

// The Windows headers come first, so that their name macros are undone
// before the interface is declared again here.
#include "platform/windows/windows_api.h"
#include "platform/platform.h"

namespace kestrand {

class CWindowsPlatform : public CPlatform {
 public:
  uint32_t SetErrorMode(uint32_t mode) override;

  WIN32_ERROR ListDiskInterfaces(std::vector<DiskInterface>& out) override;
  WIN32_ERROR OpenDevice(const std::u16string& devicePath, PlatformHandle& handle) override;
  void CloseDevice(PlatformHandle handle) override;

  WIN32_ERROR GetDeviceNumber(PlatformHandle device, uint32_t& deviceNumber) override;
  WIN32_ERROR GetDriveGeometry(PlatformHandle device, DISK_GEOMETRY_EX& geometry) override;
  WIN32_ERROR GetAccessAlignment(PlatformHandle device,
                                 STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR& alignment) override;
  WIN32_ERROR GetDriveLayout(PlatformHandle device, void* buffer, uint32_t size) override;
  WIN32_ERROR GetPartitionInfo(PlatformHandle device, PARTITION_INFORMATION_EX& info) override;

  NTSTATUS OpenDiskForRead(uint32_t diskNumber, PlatformHandle& handle) override;
  NTSTATUS OpenFileForRead(const std::string& fileName, PlatformHandle& handle) override;
  NTSTATUS ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer,
                  uint32_t* transferred) override;
  void CloseRead(PlatformHandle handle) override;

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
};

}  // namespace kestrand
