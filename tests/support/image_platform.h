// A platform whose disks are image files or images held in memory, for
// in-process end-to-end runs without root, for the fuzz targets and for the
// benchmarks: the device queries are answered by the partition table reader
// over the image, raw reads by reading it, and the host, volume and drive
// letter questions from plain members, so that a test can set up any host.
// Each disk can be told to fail any of its queries.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "partition/partition_table.h"
#include "platform/platform.h"

namespace kestrand {

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
  NTSTATUS RawReadStatus = 0;  // every raw read that touches [FailFrom, FailTo) fails with this
  uint64_t FailFrom = 0, FailTo = UINT64_MAX;
  bool RewritePartitions = false;  // the layout marks every entry to be rewritten
};

class CImagePlatform : public CPlatform {
 public:
  // ---- the host facts, volumes and drive letters a test sets up
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

  // ---- the disks
  // Adds a disk for an image file with the default path and instance id;
  // the reference lasts until the next AddImage.
  ImageDisk& AddImage(const std::string& imagePath, uint32_t deviceNumber) {
    const std::u16string number = Utf8ToUtf16(std::to_string(deviceNumber));
    Disks.push_back(ImageDisk{.ImagePath = imagePath, .DeviceNumber = deviceNumber,
                              .DevicePath = u"image:" + number, .InstanceId = u"IMAGE\\" + number});
    return Disks.back();
  }
  // The same for an image in memory.
  ImageDisk& AddMemoryImage(const std::string& name, const uint8_t* data, uint64_t size, uint32_t deviceNumber) {
    ImageDisk& disk = AddImage(name, deviceNumber);
    disk.Memory = MemoryImage{data, size};
    return disk;
  }

  // Database files (-l) served from memory by name, before any real file.
  std::map<std::string, MemoryImage> MemoryFiles;
  std::vector<ImageDisk> Disks;  // in enumeration order

  WIN32_ERROR ListDiskInterfaces(std::vector<DiskInterface>& out) override {
    out.clear();
    for (const ImageDisk& disk : Disks) out.push_back(DiskInterface{disk.InstanceId, disk.DevicePath});
    return ERROR_NO_MORE_ITEMS_CODE;
  }
  WIN32_ERROR OpenDevice(const std::u16string& devicePath, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    for (size_t i = 0; i < Disks.size(); ++i) {
      if (Disks[i].DevicePath != devicePath) continue;
      if (Disks[i].OpenError != 0) return Disks[i].OpenError;
      const bool opened = Open(Disks[i].ImagePath, Disks[i].Memory, static_cast<int>(i), true, handle);
      return opened ? ERROR_SUCCESS_CODE : ERROR_FILE_NOT_FOUND_CODE;
    }
    return ERROR_FILE_NOT_FOUND_CODE;
  }
  void CloseDevice(PlatformHandle handle) override { handles_.erase(handle); }
  WIN32_ERROR GetDeviceNumber(PlatformHandle device, uint32_t& deviceNumber) override {
    WIN32_ERROR error = 0;
    if (const ImageDisk* disk = DeviceDisk(device, &ImageDisk::DeviceNumberError, error))
      deviceNumber = disk->DeviceNumber;
    return error;
  }
  WIN32_ERROR GetDriveGeometry(PlatformHandle device, DISK_GEOMETRY_EX& geometry) override {
    WIN32_ERROR error = 0;
    if (const ImageDisk* disk = DeviceDisk(device, &ImageDisk::GeometryError, error))
      geometry = MakeDiskGeometry(SizeOf(*Find(device)), disk->BytesPerSector, disk->Removable);
    return error;
  }
  WIN32_ERROR GetAccessAlignment(PlatformHandle device, STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR& alignment) override {
    WIN32_ERROR error = 0;
    if (const ImageDisk* disk = DeviceDisk(device, &ImageDisk::AlignmentError, error))
      alignment = MakeAlignmentDescriptor(disk->BytesPerSector, disk->BytesPerSector, disk->FirstAlignedOffset);
    return error;
  }
  WIN32_ERROR GetDriveLayout(PlatformHandle device, void* buffer, uint32_t size) override {
    WIN32_ERROR error = 0;
    const ImageDisk* disk = DeviceDisk(device, &ImageDisk::LayoutError, error);
    std::vector<uint8_t> layout;
    if (disk == nullptr || (error = ReadDriveLayout(SourceOf(device, *disk), layout)) != 0) return error;
    for (size_t at = DRIVE_LAYOUT_HEAD_BYTES; disk->RewritePartitions && at + 144 <= layout.size(); at += 144)
      layout[at + offsetof(PARTITION_INFORMATION_EX, RewritePartition)] = 1;
    return CopyDriveLayout(layout, buffer, size);
  }
  WIN32_ERROR GetPartitionInfo(PlatformHandle device, PARTITION_INFORMATION_EX& info) override {
    WIN32_ERROR error = 0;
    const ImageDisk* disk = DeviceDisk(device, &ImageDisk::PartitionInfoError, error);
    return disk == nullptr ? error : ReadWholeDiskPartitionInfo(SourceOf(device, *disk), info);
  }
  NTSTATUS OpenDiskForRead(uint32_t diskNumber, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    for (size_t i = 0; i < Disks.size(); ++i)
      if (Disks[i].DeviceNumber == diskNumber)
        return Open(Disks[i].ImagePath, Disks[i].Memory, static_cast<int>(i), false, handle)
                   ? STATUS_SUCCESS_CODE
                   : STATUS_OBJECT_NAME_NOT_FOUND_CODE;
    return STATUS_OBJECT_PATH_NOT_FOUND_CODE;
  }
  NTSTATUS OpenFileForRead(const std::string& fileName, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    const auto memory = MemoryFiles.find(fileName);
    const bool opened = Open(fileName, memory != MemoryFiles.end() ? memory->second : MemoryImage{}, -1, false, handle);
    return opened ? STATUS_SUCCESS_CODE : STATUS_OBJECT_NAME_NOT_FOUND_CODE;
  }
  NTSTATUS ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer, uint32_t* placed) override {
    OpenImage* image = Find(handle);
    if (image == nullptr) return STATUS_INVALID_HANDLE_CODE;
    const ImageDisk* disk = image->DiskIndex >= 0 ? &Disks[static_cast<size_t>(image->DiskIndex)] : nullptr;
    if (disk && disk->RawReadStatus != 0 && static_cast<uint64_t>(offset) + length > disk->FailFrom &&
        static_cast<uint64_t>(offset) < disk->FailTo)
      return disk->RawReadStatus;
    return ReadImage(*image, offset, length, buffer, placed);
  }
  void CloseRead(PlatformHandle handle) override { handles_.erase(handle); }

 private:
  struct OpenImage {
    std::unique_ptr<std::ifstream> Stream;  // null for a memory image
    MemoryImage Memory;
    int DiskIndex = -1;  // -1: a database file, not a disk
    bool IsDevice = false;
  };

  // Opens the image in `memory`, or else the file `path`.
  bool Open(const std::string& path, const MemoryImage& memory, int diskIndex, bool isDevice, PlatformHandle& handle) {
    OpenImage image{nullptr, memory, diskIndex, isDevice};
    if (memory.Data == nullptr) {
      image.Stream = std::make_unique<std::ifstream>(path, std::ios::in | std::ios::binary);
      if (!image.Stream->is_open()) return false;
    }
    handle = nextHandle_++;
    handles_[handle] = std::move(image);
    return true;
  }
  OpenImage* Find(PlatformHandle handle) {
    auto found = handles_.find(handle);
    return found == handles_.end() ? nullptr : &found->second;
  }
  // The disk behind a device handle, else nullptr with `error` set: for no
  // such handle, or to the failure injected for the query.
  const ImageDisk* DeviceDisk(PlatformHandle handle, WIN32_ERROR ImageDisk::*failure, WIN32_ERROR& error) {
    OpenImage* image = Find(handle);
    error = ERROR_INVALID_HANDLE_CODE;
    if (image == nullptr || !image->IsDevice || image->DiskIndex < 0) return nullptr;
    const ImageDisk& disk = Disks[static_cast<size_t>(image->DiskIndex)];
    error = disk.*failure;
    return error == 0 ? &disk : nullptr;
  }
  PartitionTableSource SourceOf(PlatformHandle device, const ImageDisk& disk) {
    OpenImage& image = *Find(device);
    return {[this, &image](int64_t at, uint32_t length, void* out) { return ReadImage(image, at, length, out); },
            disk.BytesPerSector, SizeOf(image)};
  }
  int64_t SizeOf(OpenImage& image) {
    if (!image.Stream) return static_cast<int64_t>(image.Memory.Size);
    image.Stream->clear();
    image.Stream->seekg(0, std::ios::end);
    const std::streamoff size = image.Stream->tellg();
    return size > 0 ? static_cast<int64_t>(size) : 0;
  }
  NTSTATUS ReadImage(OpenImage& image, int64_t offset, uint32_t length, void* buffer, uint32_t* placed = nullptr) {
    if (offset < 0) return STATUS_INVALID_PARAMETER_CODE;
    if (offset >= SizeOf(image)) return STATUS_END_OF_FILE_CODE;
    if (!image.Stream) {  // like a file: a short transfer across the end
      const uint64_t available = image.Memory.Size - static_cast<uint64_t>(offset);
      std::memcpy(buffer, image.Memory.Data + offset, available < length ? available : length);
      if (placed) *placed = static_cast<uint32_t>(available < length ? available : length);
      return STATUS_SUCCESS_CODE;
    }
    image.Stream->clear();
    image.Stream->seekg(static_cast<std::streamoff>(offset));
    image.Stream->read(static_cast<char*>(buffer), static_cast<std::streamsize>(length));
    if (placed) *placed = static_cast<uint32_t>(image.Stream->gcount());
    return image.Stream->gcount() > 0 ? STATUS_SUCCESS_CODE : STATUS_IO_DEVICE_ERROR_CODE;
  }

  std::map<PlatformHandle, OpenImage> handles_;
  PlatformHandle nextHandle_ = 0x1000;
};

}  // namespace kestrand
