// A platform for the fuzz targets: the database file "fuzz.ldm" is read from
// memory, every other operation fails. Header-only, so the targets need
// nothing beyond kestrand_core.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace kestrand::fuzz {

constexpr const char* kFuzzFileName = "fuzz.ldm";

class MemoryFilePlatform : public CPlatform {
 public:
  std::vector<uint8_t> File;

  uint32_t SetErrorMode(uint32_t mode) override { return mode; }
  WIN32_ERROR ListDiskInterfaces(std::vector<DiskInterface>&) override { return ERROR_NO_MORE_ITEMS_CODE; }
  WIN32_ERROR OpenDevice(const std::u16string&, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    return ERROR_FILE_NOT_FOUND_CODE;
  }
  void CloseDevice(PlatformHandle) override {}
  WIN32_ERROR GetDeviceNumber(PlatformHandle, uint32_t&) override { return ERROR_NOT_SUPPORTED_CODE; }
  WIN32_ERROR GetDriveGeometry(PlatformHandle, DISK_GEOMETRY_EX&) override { return ERROR_NOT_SUPPORTED_CODE; }
  WIN32_ERROR GetAccessAlignment(PlatformHandle, STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR&) override {
    return ERROR_NOT_SUPPORTED_CODE;
  }
  WIN32_ERROR GetDriveLayout(PlatformHandle, void*, uint32_t) override { return ERROR_NOT_SUPPORTED_CODE; }
  WIN32_ERROR GetPartitionInfo(PlatformHandle, PARTITION_INFORMATION_EX&) override { return ERROR_NOT_SUPPORTED_CODE; }
  NTSTATUS OpenDiskForRead(uint32_t, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    return STATUS_NO_SUCH_DEVICE_CODE;
  }
  NTSTATUS OpenFileForRead(const std::string& fileName, PlatformHandle& handle) override {
    handle = kInvalidHandle;
    if (fileName != kFuzzFileName) return STATUS_OBJECT_NAME_NOT_FOUND_CODE;
    handle = 1;
    return 0;
  }
  // Reads like a file: nothing at or past the end, a short transfer across it.
  NTSTATUS ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer) override {
    if (handle != 1 || offset < 0) return STATUS_INVALID_PARAMETER_CODE;
    const uint64_t start = static_cast<uint64_t>(offset);
    if (start >= File.size()) return STATUS_END_OF_FILE_CODE;
    const uint64_t available = File.size() - start;
    std::memcpy(buffer, File.data() + start, available < length ? available : length);
    return 0;
  }
  void CloseRead(PlatformHandle) override {}
  WIN32_ERROR ListVolumes(std::vector<VolumeMounts>&) override { return 0; }
  WIN32_ERROR QueryDosDevice(char16_t, std::u16string&) override { return ERROR_FILE_NOT_FOUND_CODE; }
  uint32_t GetDriveType(char16_t) override { return 1; }
  WIN32_ERROR QueryDynamicVolumeName(const GUID&, std::u16string&) override { return ERROR_FILE_NOT_FOUND_CODE; }
  WIN32_ERROR GetComputerName(std::u16string& name) override {
    name = u"FUZZ";
    return 0;
  }
  OsVersion GetVersion() override { return {}; }
  bool IsProductType(uint8_t) override { return false; }
  bool HasSuite(uint16_t) override { return false; }
  ProcessorInfo GetProcessorInfo() override { return {}; }
  WIN32_ERROR GetNodeClusterState(const std::u16string&, uint32_t& state) override {
    state = 0;
    return 0;
  }
  NTSTATUS QueryPrimaryPackId(std::u16string&) override { return STATUS_OBJECT_NAME_NOT_FOUND_CODE; }
};

}  // namespace kestrand::fuzz
