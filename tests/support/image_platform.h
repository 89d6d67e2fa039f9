// A platform whose disks are image files, for in-process end-to-end runs
// without root: the device queries are answered by the partition table
// reader over the file, raw reads by reading the file, and everything else
// (volumes, drive letters, host facts) from plain members. Each disk can be
// told to fail any of its queries. Every file it opens is recorded with its
// open mode, so a test can prove that nothing was opened for writing.
#pragma once

#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/platform.h"

namespace kestrand {

struct ImageDisk {
  std::string ImagePath;
  uint32_t DeviceNumber = 0;
  std::u16string DevicePath;  // "image:N" unless set
  std::u16string InstanceId;  // "IMAGE\N" unless set
  bool Removable = false;
  uint32_t BytesPerSector = 512;
  uint32_t BytesPerPhysicalSector = 0;  // 0: same as BytesPerSector
  uint32_t FirstAlignedOffset = 0;      // byte offset of the first aligned logical sector

  // Injected failures: 0 (success) unless set.
  WIN32_ERROR OpenError = 0;
  WIN32_ERROR DeviceNumberError = 0;
  WIN32_ERROR GeometryError = 0;
  WIN32_ERROR AlignmentError = 0;
  WIN32_ERROR LayoutError = 0;
  WIN32_ERROR PartitionInfoError = 0;
  NTSTATUS RawOpenStatus = 0;  // the whole-disk device cannot be opened for reading
  NTSTATUS RawReadStatus = 0;  // every raw read fails with this
};

struct ImageOpenRecord {
  std::string Operation;  // "OpenDevice", "OpenDiskForRead" or "OpenFileForRead"
  std::string Path;       // the image file asked for (or the name no image answers to)
  std::ios::openmode Mode;
};

class CImagePlatform : public CPlatform {
 public:
  CImagePlatform();
  ~CImagePlatform() override;

  // Adds a disk for an image file with the default path and instance id;
  // the reference lasts until the next AddImage.
  ImageDisk& AddImage(const std::string& imagePath, uint32_t deviceNumber);

  std::vector<ImageDisk> Disks;  // in enumeration order
  WIN32_ERROR ListEndCode = ERROR_NO_MORE_ITEMS_CODE;
  size_t ListLimit = SIZE_MAX;  // interfaces listed before ListEndCode

  std::vector<VolumeMounts> Volumes;
  WIN32_ERROR VolumesCode = 0;
  std::map<char16_t, std::pair<std::u16string, uint32_t>> Letters;  // letter -> (device, drive type)
  std::vector<std::pair<GUID, std::u16string>> DynamicVolumes;

  std::u16string ComputerName = u"TESTHOST";
  WIN32_ERROR ComputerNameCode = 0;
  OsVersion Version{6, 1, 7601, u"Service Pack 1"};
  std::vector<uint8_t> ProductTypes{1};  // a workstation
  uint16_t SuiteMask = 0;
  ProcessorInfo Processor{9, 2};
  uint32_t ClusterState = 0;
  WIN32_ERROR ClusterCode = 0;
  NTSTATUS PrimaryPackIdStatus = STATUS_OBJECT_NAME_NOT_FOUND_CODE;
  std::u16string PrimaryPackId;

  // Every open, successful, failed or refused by an injected failure, in order.
  std::vector<ImageOpenRecord> Opens;
  // Whether every recorded open was for reading only.
  bool OnlyReadOpens() const;
  size_t OpenHandleCount() const { return handles_.size(); }

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
  NTSTATUS ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer) override;
  void CloseRead(PlatformHandle handle) override;
  WIN32_ERROR ListVolumes(std::vector<VolumeMounts>& out) override;
  WIN32_ERROR QueryDosDevice(char16_t letter, std::u16string& deviceName) override;
  uint32_t GetDriveType(char16_t letter) override;
  WIN32_ERROR QueryDynamicVolumeName(const GUID& volumeGuid, std::u16string& deviceName) override;
  WIN32_ERROR GetComputerName(std::u16string& name) override;
  OsVersion GetVersion() override { return Version; }
  bool IsProductType(uint8_t productType) override;
  bool HasSuite(uint16_t suiteBit) override { return (SuiteMask & suiteBit) != 0; }
  ProcessorInfo GetProcessorInfo() override { return Processor; }
  WIN32_ERROR GetNodeClusterState(const std::u16string& computerName, uint32_t& state) override;
  NTSTATUS QueryPrimaryPackId(std::u16string& value) override;

 private:
  struct OpenImage {
    std::unique_ptr<std::ifstream> Stream;
    int DiskIndex = -1;  // -1: a database file, not a disk
    bool IsDevice = false;
  };

  void Record(const char* operation, const std::string& path);
  bool OpenImageFile(const std::string& path, int diskIndex, bool isDevice, PlatformHandle& handle);
  OpenImage* Find(PlatformHandle handle);
  // The disk behind a device handle, else nullptr.
  const ImageDisk* DeviceDisk(PlatformHandle handle);
  int64_t SizeOf(OpenImage& image);
  NTSTATUS ReadImage(OpenImage& image, int64_t offset, uint32_t length, void* buffer);

  std::map<PlatformHandle, OpenImage> handles_;
  PlatformHandle nextHandle_ = 0x1000;
  uint32_t errorMode_ = 0;
};

}  // namespace kestrand
