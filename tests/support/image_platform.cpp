#include "image_platform.h"

#include <cstring>

#include "partition/partition_table.h"
#include "platform/platform.h"

namespace kestrand {
namespace {
constexpr std::ios::openmode kReadMode = std::ios::in | std::ios::binary;
}

ImageDisk& CImagePlatform::AddImage(const std::string& imagePath, uint32_t deviceNumber) {
  const std::u16string number = Utf8ToUtf16(std::to_string(deviceNumber));
  Disks.push_back(ImageDisk{.ImagePath = imagePath, .DeviceNumber = deviceNumber, .DevicePath = u"image:" + number,
                            .InstanceId = u"IMAGE\\" + number});
  return Disks.back();
}

ImageDisk& CImagePlatform::AddMemoryImage(const std::string& name, const uint8_t* data, uint64_t size,
                                          uint32_t deviceNumber) {
  ImageDisk& disk = AddImage(name, deviceNumber);
  disk.Memory = MemoryImage{data, size};
  return disk;
}

WIN32_ERROR CImagePlatform::ListDiskInterfaces(std::vector<DiskInterface>& out) {
  out.clear();
  for (const ImageDisk& disk : Disks) out.push_back(DiskInterface{disk.InstanceId, disk.DevicePath});
  return ERROR_NO_MORE_ITEMS_CODE;
}

bool CImagePlatform::OpenImageFile(const std::string& path, int diskIndex, bool isDevice, PlatformHandle& handle) {
  auto stream = std::make_unique<std::ifstream>(path, kReadMode);
  if (!stream->is_open()) return false;
  handle = nextHandle_++;
  handles_[handle] = OpenImage{std::move(stream), MemoryImage{}, diskIndex, isDevice};
  return true;
}

void CImagePlatform::OpenMemory(const MemoryImage& memory, int diskIndex, bool isDevice, PlatformHandle& handle) {
  handle = nextHandle_++;
  handles_[handle] = OpenImage{nullptr, memory, diskIndex, isDevice};
}

bool CImagePlatform::OpenDiskImage(size_t index, bool isDevice, PlatformHandle& handle) {
  const ImageDisk& disk = Disks[index];
  if (disk.Memory.Data == nullptr) return OpenImageFile(disk.ImagePath, static_cast<int>(index), isDevice, handle);
  OpenMemory(disk.Memory, static_cast<int>(index), isDevice, handle);
  return true;
}

CImagePlatform::OpenImage* CImagePlatform::Find(PlatformHandle handle) {
  auto found = handles_.find(handle);
  return found == handles_.end() ? nullptr : &found->second;
}

const ImageDisk* CImagePlatform::DeviceDisk(PlatformHandle handle, WIN32_ERROR ImageDisk::*failure,
                                           WIN32_ERROR& error) {
  OpenImage* image = Find(handle);
  error = ERROR_INVALID_HANDLE_CODE;
  if (image == nullptr || !image->IsDevice || image->DiskIndex < 0) return nullptr;
  const ImageDisk& disk = Disks[static_cast<size_t>(image->DiskIndex)];
  error = disk.*failure;
  return error == 0 ? &disk : nullptr;
}

PartitionTableSource CImagePlatform::SourceOf(PlatformHandle device, const ImageDisk& disk) {
  OpenImage& image = *Find(device);
  return {[this, &image](int64_t offset, uint32_t length, void* out) { return ReadImage(image, offset, length, out); },
          disk.BytesPerSector, SizeOf(image)};
}

WIN32_ERROR CImagePlatform::OpenDevice(const std::u16string& devicePath, PlatformHandle& handle) {
  handle = kInvalidHandle;
  for (size_t i = 0; i < Disks.size(); ++i) {
    if (Disks[i].DevicePath != devicePath) continue;
    if (Disks[i].OpenError != 0) return Disks[i].OpenError;
    return OpenDiskImage(i, true, handle) ? ERROR_SUCCESS_CODE : ERROR_FILE_NOT_FOUND_CODE;
  }
  return ERROR_FILE_NOT_FOUND_CODE;
}

void CImagePlatform::CloseDevice(PlatformHandle handle) { handles_.erase(handle); }

WIN32_ERROR CImagePlatform::GetDeviceNumber(PlatformHandle device, uint32_t& deviceNumber) {
  WIN32_ERROR error = 0;
  const ImageDisk* disk = DeviceDisk(device, &ImageDisk::DeviceNumberError, error);
  if (disk) deviceNumber = disk->DeviceNumber;
  return error;
}

int64_t CImagePlatform::SizeOf(OpenImage& image) {
  if (!image.Stream) return static_cast<int64_t>(image.Memory.Size);
  image.Stream->clear();
  image.Stream->seekg(0, std::ios::end);
  const std::streamoff size = image.Stream->tellg();
  return size > 0 ? static_cast<int64_t>(size) : 0;
}

NTSTATUS CImagePlatform::ReadImage(OpenImage& image, int64_t offset, uint32_t length, void* buffer) {
  if (offset < 0) return STATUS_INVALID_PARAMETER_CODE;
  if (offset >= SizeOf(image)) return STATUS_END_OF_FILE_CODE;
  if (!image.Stream) {  // like a file: a short transfer across the end
    const uint64_t start = static_cast<uint64_t>(offset);
    const uint64_t available = image.Memory.Size - start;
    std::memcpy(buffer, image.Memory.Data + start, available < length ? available : length);
    return STATUS_SUCCESS_CODE;
  }
  image.Stream->clear();
  image.Stream->seekg(static_cast<std::streamoff>(offset));
  image.Stream->read(static_cast<char*>(buffer), static_cast<std::streamsize>(length));
  return image.Stream->gcount() > 0 ? STATUS_SUCCESS_CODE : STATUS_IO_DEVICE_ERROR_CODE;
}

WIN32_ERROR CImagePlatform::GetDriveGeometry(PlatformHandle device, DISK_GEOMETRY_EX& geometry) {
  WIN32_ERROR error = 0;
  if (const ImageDisk* disk = DeviceDisk(device, &ImageDisk::GeometryError, error))
    geometry = MakeDiskGeometry(SizeOf(*Find(device)), disk->BytesPerSector, disk->Removable);
  return error;
}

WIN32_ERROR CImagePlatform::GetAccessAlignment(PlatformHandle device,
                                               STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR& alignment) {
  WIN32_ERROR error = 0;
  if (const ImageDisk* disk = DeviceDisk(device, &ImageDisk::AlignmentError, error))
    alignment = MakeAlignmentDescriptor(disk->BytesPerSector, disk->BytesPerSector, disk->FirstAlignedOffset);
  return error;
}

WIN32_ERROR CImagePlatform::GetDriveLayout(PlatformHandle device, void* buffer, uint32_t size) {
  WIN32_ERROR error = 0;
  const ImageDisk* disk = DeviceDisk(device, &ImageDisk::LayoutError, error);
  std::vector<uint8_t> layout;
  if (disk == nullptr || (error = ReadDriveLayout(SourceOf(device, *disk), layout)) != 0) return error;
  return CopyDriveLayout(layout, buffer, size);
}

WIN32_ERROR CImagePlatform::GetPartitionInfo(PlatformHandle device, PARTITION_INFORMATION_EX& info) {
  WIN32_ERROR error = 0;
  const ImageDisk* disk = DeviceDisk(device, &ImageDisk::PartitionInfoError, error);
  return disk == nullptr ? error : ReadWholeDiskPartitionInfo(SourceOf(device, *disk), info);
}

NTSTATUS CImagePlatform::OpenDiskForRead(uint32_t diskNumber, PlatformHandle& handle) {
  handle = kInvalidHandle;
  for (size_t i = 0; i < Disks.size(); ++i)
    if (Disks[i].DeviceNumber == diskNumber)
      return OpenDiskImage(i, false, handle) ? STATUS_SUCCESS_CODE : STATUS_OBJECT_NAME_NOT_FOUND_CODE;
  return STATUS_OBJECT_PATH_NOT_FOUND_CODE;
}

NTSTATUS CImagePlatform::OpenFileForRead(const std::string& fileName, PlatformHandle& handle) {
  handle = kInvalidHandle;
  auto memory = MemoryFiles.find(fileName);
  if (memory != MemoryFiles.end()) {
    OpenMemory(memory->second, -1, false, handle);
    return STATUS_SUCCESS_CODE;
  }
  return OpenImageFile(fileName, -1, false, handle) ? STATUS_SUCCESS_CODE : STATUS_OBJECT_NAME_NOT_FOUND_CODE;
}

NTSTATUS CImagePlatform::ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer) {
  OpenImage* image = Find(handle);
  if (image == nullptr) return STATUS_INVALID_HANDLE_CODE;
  if (image->DiskIndex >= 0 && Disks[static_cast<size_t>(image->DiskIndex)].RawReadStatus != 0)
    return Disks[static_cast<size_t>(image->DiskIndex)].RawReadStatus;
  return ReadImage(*image, offset, length, buffer);
}

void CImagePlatform::CloseRead(PlatformHandle handle) { handles_.erase(handle); }

}  // namespace kestrand
