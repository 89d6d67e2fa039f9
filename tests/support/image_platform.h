// A platform whose disks are image files or images held in memory, for
// in-process end-to-end runs without root, for the fuzz targets and for the
// benchmarks: the device queries are answered by the partition table reader
// over the image, raw reads by reading it, and the host, volume and drive
// letter questions from plain members, so that a test can set up any host.
// Each disk can be told to fail any of its queries.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "partition/partition_table.h"
#include "platform/platform.h"

namespace kestrand {

// The host facts, volumes and drive letters a test sets up.
class FakeHostPlatform : public CPlatform {
 public:
  std::u16string ComputerName = u"host.example.test";
  OsVersion Version{10, 0, 19045, u"Service Pack 1"};
  std::vector<uint8_t> ProductTypes;  // the product types the host matches
  uint16_t SuiteMask = 0;
  ProcessorInfo Processor{9, 4};
  WIN32_ERROR ClusterCode = 0;
  uint32_t ClusterState = 0;
  std::vector<VolumeMounts> Volumes;
  // Letter -> (device name, drive type); letters absent here are not in use.
  std::map<char16_t, std::pair<std::u16string, uint32_t>> Letters;
  std::map<char16_t, WIN32_ERROR> LetterFailures;  // answered instead of the device name
  std::u16string PrimaryPackId;                     // the registry value; empty: absent
  std::vector<std::pair<GUID, std::u16string>> DynamicVolumes;  // the device of each volume GUID

  uint32_t ErrorMode = 0;
  uint32_t ErrorModeBitsSet = 0;  // every bit any call set
  uint32_t SetErrorMode(uint32_t mode) override {
    ErrorModeBitsSet |= mode;
    return std::exchange(ErrorMode, mode);
  }
  WIN32_ERROR ListVolumes(std::vector<VolumeMounts>& out) override {
    out.insert(out.end(), Volumes.begin(), Volumes.end());
    return 0;
  }
  WIN32_ERROR QueryDosDevice(char16_t letter, std::u16string& deviceName) override {
    if (LetterFailures.count(letter)) return LetterFailures[letter];
    if (!Letters.count(letter)) return ERROR_FILE_NOT_FOUND_CODE;
    deviceName = Letters[letter].first;
    return 0;
  }
  uint32_t GetDriveType(char16_t letter) override { return Letters.count(letter) ? Letters[letter].second : 1; }
  WIN32_ERROR QueryDynamicVolumeName(const GUID& volume, std::u16string& deviceName) override {
    for (const auto& [guid, name] : DynamicVolumes) {
      if (guid != volume) continue;
      deviceName = name;
      return 0;
    }
    return ERROR_FILE_NOT_FOUND_CODE;
  }
  WIN32_ERROR GetComputerName(std::u16string& name) override {
    name = ComputerName;
    return 0;
  }
  OsVersion GetVersion() override { return Version; }
  bool IsProductType(uint8_t type) override {
    return std::find(ProductTypes.begin(), ProductTypes.end(), type) != ProductTypes.end();
  }
  bool HasSuite(uint16_t suiteBit) override { return (SuiteMask & suiteBit) != 0; }
  ProcessorInfo GetProcessorInfo() override { return Processor; }
  WIN32_ERROR GetNodeClusterState(const std::u16string&, uint32_t& state) override {
    if (ClusterCode == 0) state = ClusterState;
    return ClusterCode;
  }
  NTSTATUS QueryPrimaryPackId(std::u16string& id) override {
    id = PrimaryPackId;
    return id.empty() ? STATUS_OBJECT_NAME_NOT_FOUND_CODE : 0;
  }
};

// Installs a platform for the lifetime of the object, then the native one.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(CPlatform& platform) { InstallPlatform(&platform); }
  ~ScopedPlatform() { InstallPlatform(nullptr); }
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;
};

// Bytes the platform serves without a file; the caller keeps them alive
// while the platform may read them.
struct MemoryImage {
  const uint8_t* Data = nullptr;
  uint64_t Size = 0;
};

struct ImageDisk {
  std::string ImagePath;  // the image file, or a name for the Memory image
  MemoryImage Memory;     // served instead of the file when Data is set
  uint32_t DeviceNumber = 0;
  std::u16string DevicePath;  // "image:N" unless set
  std::u16string InstanceId;  // "IMAGE\N" unless set
  bool Removable = false;
  uint32_t BytesPerSector = 512;  // the physical sectors too
  uint32_t FirstAlignedOffset = 0;  // byte offset of the first aligned logical sector

  // Injected failures: 0 (success) unless set.
  WIN32_ERROR OpenError = 0, DeviceNumberError = 0, GeometryError = 0, AlignmentError = 0, LayoutError = 0;
  WIN32_ERROR PartitionInfoError = 0;
  NTSTATUS RawReadStatus = 0;  // every raw read fails with this
};

class CImagePlatform : public FakeHostPlatform {
 public:
  // Adds a disk for an image file with the default path and instance id;
  // the reference lasts until the next AddImage.
  ImageDisk& AddImage(const std::string& imagePath, uint32_t deviceNumber);
  // The same for an image in memory.
  ImageDisk& AddMemoryImage(const std::string& name, const uint8_t* data, uint64_t size, uint32_t deviceNumber);

  // Database files (-l) served from memory by name, before any real file.
  std::map<std::string, MemoryImage> MemoryFiles;
  std::vector<ImageDisk> Disks;  // in enumeration order

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
  NTSTATUS ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer) override;
  void CloseRead(PlatformHandle handle) override;

 private:
  struct OpenImage {
    std::unique_ptr<std::ifstream> Stream;  // null for a memory image
    MemoryImage Memory;
    int DiskIndex = -1;  // -1: a database file, not a disk
    bool IsDevice = false;
  };

  bool OpenImageFile(const std::string& path, int diskIndex, bool isDevice, PlatformHandle& handle);
  void OpenMemory(const MemoryImage& memory, int diskIndex, bool isDevice, PlatformHandle& handle);
  bool OpenDiskImage(size_t index, bool isDevice, PlatformHandle& handle);
  OpenImage* Find(PlatformHandle handle);
  // The disk behind a device handle, else nullptr with `error` set: for no
  // such handle, or to the failure injected for the query.
  const ImageDisk* DeviceDisk(PlatformHandle handle, WIN32_ERROR ImageDisk::*failure, WIN32_ERROR& error);
  PartitionTableSource SourceOf(PlatformHandle device, const ImageDisk& disk);
  int64_t SizeOf(OpenImage& image);
  NTSTATUS ReadImage(OpenImage& image, int64_t offset, uint32_t length, void* buffer);

  std::map<PlatformHandle, OpenImage> handles_;
  PlatformHandle nextHandle_ = 0x1000;
};

}  // namespace kestrand
