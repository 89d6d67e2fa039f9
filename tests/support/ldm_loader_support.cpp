#include "ldm_loader_support.h"

#include <cstring>

namespace kestrand::test {

NTSTATUS MemoryReadPlatform::OpenDiskForRead(uint32_t, PlatformHandle& handle) {
  handle = kInvalidHandle;
  if (DiskOpenStatus < 0) return DiskOpenStatus;
  handle = kDiskHandle;
  open_[handle] = &DiskBytes;
  return 0;
}

NTSTATUS MemoryReadPlatform::OpenFileForRead(const std::string& fileName, PlatformHandle& handle) {
  handle = kInvalidHandle;
  auto found = Files.find(fileName);
  if (found == Files.end()) return STATUS_OBJECT_NAME_NOT_FOUND_CODE;
  handle = nextFileHandle_++;
  open_[handle] = &found->second;
  return 0;
}

NTSTATUS MemoryReadPlatform::ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer) {
  auto found = open_.find(handle);
  if (found == open_.end()) return STATUS_INVALID_PARAMETER_CODE;
  Reads.push_back({handle != kDiskHandle, offset, length});
  if (offset < 0) return STATUS_INVALID_PARAMETER_CODE;
  const uint64_t start = static_cast<uint64_t>(offset);
  for (const FailingRange& range : Failures)
    if (start < range.Offset + range.Length && range.Offset < start + length) return range.Status;
  const std::vector<uint8_t>& bytes = *found->second;
  if (start >= bytes.size()) return STATUS_END_OF_FILE_CODE;
  const uint64_t available = bytes.size() - start;
  std::memcpy(buffer, bytes.data() + start, available < length ? available : length);
  return 0;
}

std::vector<int64_t> MemoryReadPlatform::ReadOffsets() const {
  std::vector<int64_t> offsets;
  for (const ReadRecord& read : Reads) offsets.push_back(read.Offset);
  return offsets;
}

LdmAreaImage::LdmAreaImage() {
  Header.TocPrimarySector = 2;
  Header.TocAlternateSector = 2045;
}

uint64_t LdmAreaImage::PrimaryTocOffset() const { return AreaBytes - (Header.TocPrimarySector + 1) * SectorSize; }

uint64_t LdmAreaImage::AlternateTocOffset() const {
  return AreaBytes - (Header.TocAlternateSector + 1) * SectorSize;
}

uint64_t LdmAreaImage::ConfigOffset() const { return AlternateTocOffset() + 15 * SectorSize; }

namespace {

void Place(std::vector<uint8_t>& area, uint64_t offset, const std::vector<uint8_t>& bytes) {
  for (size_t i = 0; i < bytes.size() && offset + i < area.size(); ++i) area[offset + i] = bytes[i];
}

}  // namespace

std::vector<uint8_t> LdmAreaImage::Build() const {
  std::vector<uint8_t> area(AreaBytes, 0);
  const std::vector<uint8_t> header = BuildPrivateHeader(Header, SectorSize);
  Place(area, AreaBytes - SectorSize, header);
  Place(area, AreaBytes - 0x18000, header);
  const std::vector<uint8_t> toc = BuildTocBlock(Toc, SectorSize);
  Place(area, PrimaryTocOffset(), toc);
  Place(area, AlternateTocOffset(), toc);
  Place(area, ConfigOffset(), Config);
  return area;
}

void PutMbrDevice(MemoryReadPlatform& platform, TestDisk& disk, uint64_t diskBytes, const LdmAreaImage& area) {
  platform.DiskBytes.assign(diskBytes, 0);
  Place(platform.DiskBytes, diskBytes - area.AreaBytes, area.Build());
  Place(platform.DiskBytes, 6 * area.SectorSize, BuildPrivateHeader(area.Header, area.SectorSize));
  disk.SetBytesPerSector(area.SectorSize);
  disk.SetDiskLength(static_cast<int64_t>(diskBytes));
  if (!disk.Layout()) disk.SetMbrLayout();
}

void RenameTocSectors(std::vector<uint8_t>& bytes, const std::vector<uint64_t>& headerOffsets, uint64_t primary,
                      uint64_t alternate, uint32_t sectorSize) {
  for (uint64_t offset : headerOffsets) {
    uint8_t* sector = bytes.data() + offset;
    for (int i = 0; i < 8; ++i) {
      sector[0x13B + i] = static_cast<uint8_t>(primary >> (56 - 8 * i));
      sector[0x143 + i] = static_cast<uint8_t>(alternate >> (56 - 8 * i));
    }
    const uint32_t checksum =
        PrivateHeaderChecksum(std::vector<uint8_t>(sector, sector + sectorSize));
    for (int i = 0; i < 4; ++i) sector[8 + i] = static_cast<uint8_t>(checksum >> (24 - 8 * i));
  }
}

}  // namespace kestrand::test
