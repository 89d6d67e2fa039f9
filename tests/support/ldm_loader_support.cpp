#include "ldm_loader_support.h"

#include <cstdlib>
#include <cstring>

#include "disk/disk_layout.h"

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

LdmTestDisk::LdmTestDisk(uint32_t number) {
  diskNumber_ = number;
  diskNumberKnown_ = true;
}

void LdmTestDisk::SetBytesPerSector(uint32_t bytesPerSector) {
  if (!geometry_) geometry_ = static_cast<DISK_GEOMETRY_EX*>(std::calloc(1, sizeof(DISK_GEOMETRY_EX)));
  geometry_->Geometry.BytesPerSector = bytesPerSector;
  geometry_->Geometry.MediaType = MEDIA_TYPE_FIXED;
}

void LdmTestDisk::ClearGeometry() {
  std::free(geometry_);
  geometry_ = nullptr;
}

void LdmTestDisk::SetDiskLength(int64_t length) {
  if (!partitionInfo_)
    partitionInfo_ = static_cast<PARTITION_INFORMATION_EX*>(std::calloc(1, sizeof(PARTITION_INFORMATION_EX)));
  partitionInfo_->PartitionLength = length;
}

void LdmTestDisk::SetPartitionInfoError(uint32_t error) {
  std::free(partitionInfo_);
  partitionInfo_ = nullptr;
  partitionInfoError_ = error;
}

void LdmTestDisk::TakeLayout(std::vector<uint8_t> bytes) {
  delete layout_;
  auto* copy = static_cast<uint8_t*>(std::malloc(bytes.size()));
  std::memcpy(copy, bytes.data(), bytes.size());
  layout_ = NewLayoutFor(copy, static_cast<uint32_t>(bytes.size()));
  layout_->SetPartitionStyle(reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(copy)->PartitionStyle);
  layout_->SetBuffer(copy, static_cast<uint32_t>(bytes.size()));
  layout_->SetDisk(this);
  layout_->SetDiskNumber(diskNumber_);
}

namespace {

std::vector<uint8_t> LayoutBytes(uint32_t style, uint32_t entries) {
  std::vector<uint8_t> bytes(DRIVE_LAYOUT_HEAD_BYTES + (entries ? entries : 1) * PARTITION_ENTRY_BYTES, 0);
  auto* head = reinterpret_cast<DRIVE_LAYOUT_INFORMATION_EX*>(bytes.data());
  head->PartitionStyle = style;
  head->PartitionCount = entries;
  return bytes;
}

PARTITION_INFORMATION_EX& EntryOf(std::vector<uint8_t>& bytes, uint32_t i) {
  return *reinterpret_cast<PARTITION_INFORMATION_EX*>(bytes.data() + DRIVE_LAYOUT_HEAD_BYTES +
                                                      i * PARTITION_ENTRY_BYTES);
}

}  // namespace

void LdmTestDisk::SetMbrLayout(uint8_t type) {
  std::vector<uint8_t> bytes = LayoutBytes(PARTITION_STYLE_MBR, 1);
  PARTITION_INFORMATION_EX& entry = EntryOf(bytes, 0);
  entry.PartitionStyle = PARTITION_STYLE_MBR;
  entry.StartingOffset = 63 * 512;
  entry.PartitionLength = partitionInfo_ ? partitionInfo_->PartitionLength - entry.StartingOffset : 0;
  entry.Mbr.PartitionType = type;
  TakeLayout(bytes);
}

void LdmTestDisk::SetGptLayout(const std::vector<GptEntryFields>& entries) {
  std::vector<uint8_t> bytes = LayoutBytes(PARTITION_STYLE_GPT, static_cast<uint32_t>(entries.size()));
  for (uint32_t i = 0; i < entries.size(); ++i) {
    PARTITION_INFORMATION_EX& entry = EntryOf(bytes, i);
    entry.PartitionStyle = PARTITION_STYLE_GPT;
    entry.StartingOffset = entries[i].StartingOffset;
    entry.PartitionLength = entries[i].PartitionLength;
    entry.Gpt.PartitionType = entries[i].Type;
  }
  TakeLayout(bytes);
}

void LdmTestDisk::SetRawLayout() { TakeLayout(LayoutBytes(PARTITION_STYLE_RAW, 0)); }

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

std::string CaptureText(const std::function<void(FILE*)>& write) {
  FILE* stream = std::tmpfile();
  if (!stream) return {};
  write(stream);
  std::fflush(stream);
  std::rewind(stream);
  std::string text;
  char chunk[4096];
  size_t n = 0;
  while ((n = std::fread(chunk, 1, sizeof chunk, stream)) > 0) text.append(chunk, n);
  std::fclose(stream);
  return text;
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

}  // namespace kestrand::test
