// A platform that answers the host, volume, drive letter and dynamic volume
// questions from plain members, so that tests can set up any host. Every
// other operation fails.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/platform.h"

namespace kestrand {

class FakeHostPlatform : public CPlatform {
 public:
  // Host facts.
  std::u16string ComputerName = u"host.example.test";
  WIN32_ERROR ComputerNameCode = 0;
  OsVersion Version{10, 0, 19045, u"Service Pack 1"};
  std::vector<uint8_t> ProductTypes;  // the product types the host matches
  uint16_t SuiteMask = 0;
  ProcessorInfo Processor{9, 4};
  WIN32_ERROR ClusterCode = 0;
  uint32_t ClusterState = 0;
  std::u16string ClusterNodeAsked;  // the name GetNodeClusterState was given

  // Volumes and drive letters.
  std::vector<VolumeMounts> Volumes;
  WIN32_ERROR VolumesCode = 0;
  // Letter -> (device name, drive type); letters absent here are not in use.
  std::map<char16_t, std::pair<std::u16string, uint32_t>> Letters;
  // Letter -> a failure the device query answers instead.
  std::map<char16_t, WIN32_ERROR> LetterFailures;

  // Dynamic volumes known to the mount point manager.
  std::vector<std::pair<GUID, std::u16string>> DynamicVolumes;
  WIN32_ERROR DynamicVolumeFailure = 0;  // answered for every GUID when set
  int DynamicVolumeQueries = 0;

  uint32_t SetErrorMode(uint32_t mode) override {
    uint32_t previous = errorMode_;
    errorMode_ = mode;
    return previous;
  }

  WIN32_ERROR ListDiskInterfaces(std::vector<DiskInterface>&) override { return kFails; }
  WIN32_ERROR OpenDevice(const std::u16string&, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    return kFails;
  }
  void CloseDevice(PlatformHandle) override {}
  WIN32_ERROR GetDeviceNumber(PlatformHandle, uint32_t&) override { return kFails; }
  WIN32_ERROR GetDriveGeometry(PlatformHandle, DISK_GEOMETRY_EX&) override { return kFails; }
  WIN32_ERROR GetAccessAlignment(PlatformHandle, STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR&) override {
    return kFails;
  }
  WIN32_ERROR GetDriveLayout(PlatformHandle, void*, uint32_t) override { return kFails; }
  WIN32_ERROR GetPartitionInfo(PlatformHandle, PARTITION_INFORMATION_EX&) override { return kFails; }
  NTSTATUS OpenDiskForRead(uint32_t, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    return STATUS_NO_SUCH_DEVICE_CODE;
  }
  NTSTATUS OpenFileForRead(const std::string&, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    return STATUS_NO_SUCH_DEVICE_CODE;
  }
  NTSTATUS ReadAt(PlatformHandle, int64_t, uint32_t, void*) override { return STATUS_NO_SUCH_DEVICE_CODE; }
  void CloseRead(PlatformHandle) override {}

  WIN32_ERROR ListVolumes(std::vector<VolumeMounts>& out) override {
    out.insert(out.end(), Volumes.begin(), Volumes.end());
    return VolumesCode;
  }

  WIN32_ERROR QueryDosDevice(char16_t letter, std::u16string& deviceName) override {
    auto failure = LetterFailures.find(letter);
    if (failure != LetterFailures.end()) return failure->second;
    auto found = Letters.find(letter);
    if (found == Letters.end()) return ERROR_FILE_NOT_FOUND_CODE;
    deviceName = found->second.first;
    return 0;
  }
  uint32_t GetDriveType(char16_t letter) override {
    auto found = Letters.find(letter);
    return found == Letters.end() ? 1 : found->second.second;
  }

  WIN32_ERROR QueryDynamicVolumeName(const GUID& volumeGuid, std::u16string& deviceName) override {
    ++DynamicVolumeQueries;
    if (DynamicVolumeFailure != 0) return DynamicVolumeFailure;
    for (const auto& [guid, name] : DynamicVolumes) {
      if (guid == volumeGuid) {
        deviceName = name;
        return 0;
      }
    }
    return ERROR_FILE_NOT_FOUND_CODE;
  }

  WIN32_ERROR GetComputerName(std::u16string& name) override {
    name = ComputerName;
    return ComputerNameCode;
  }
  OsVersion GetVersion() override { return Version; }
  bool IsProductType(uint8_t productType) override {
    for (uint8_t type : ProductTypes)
      if (type == productType) return true;
    return false;
  }
  bool HasSuite(uint16_t suiteBit) override { return (SuiteMask & suiteBit) != 0; }
  ProcessorInfo GetProcessorInfo() override { return Processor; }
  WIN32_ERROR GetNodeClusterState(const std::u16string& computerName, uint32_t& state) override {
    ClusterNodeAsked = computerName;
    if (ClusterCode == 0) state = ClusterState;
    return ClusterCode;
  }

  std::u16string PrimaryPackId;  // the registry value; empty: absent
  NTSTATUS QueryPrimaryPackId(std::u16string& id) override {
    id = PrimaryPackId;
    return id.empty() ? STATUS_OBJECT_NAME_NOT_FOUND_CODE : 0;
  }

 private:
  static constexpr WIN32_ERROR kFails = ERROR_NOT_SUPPORTED_CODE;
  uint32_t errorMode_ = 0;
};

// Installs a platform for the lifetime of the object, then restores the
// native one.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(CPlatform& platform) { InstallPlatform(&platform); }
  ~ScopedPlatform() { InstallPlatform(nullptr); }
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;
};

}  // namespace kestrand
