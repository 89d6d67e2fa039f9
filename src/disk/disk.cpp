#include "disk/disk.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "disk/disk_layout.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

// The layout buffer starts with room for four entries and grows by four.
constexpr uint32_t kLayoutFirstSize = DRIVE_LAYOUT_HEAD_BYTES + 4 * PARTITION_ENTRY_BYTES;  // 624
constexpr uint32_t kLayoutGrowth = 4 * PARTITION_ENTRY_BYTES;                               // 576
// A driver that keeps asking for more room is given up on after this many
// attempts (4,096 entries, far beyond any real table); the layout error then
// stays ERROR_INSUFFICIENT_BUFFER.
constexpr uint32_t kLayoutMaxAttempts = 1024;

// The database file: a 1 MB area of 512-byte sectors.
constexpr int64_t kLdmFileLength = 0x100000;
constexpr uint32_t kLdmFileBytesPerSector = 512;

template <class T>
T* AllocateZeroed() {
  return static_cast<T*>(std::calloc(1, sizeof(T)));
}

}  // namespace

CDisk::~CDisk() {
  Reset();
  owner_ = nullptr;
  if (readHandle_ != kInvalidHandle) {
    ThePlatform().CloseRead(readHandle_);
    readHandle_ = kInvalidHandle;
  }
  diskNumberKnown_ = false;
  basicDiskWithLdmDatabase_ = false;
}

uint32_t CDisk::Reset() {
  std::free(geometry_);
  geometry_ = nullptr;
  std::free(partitionInfo_);
  partitionInfo_ = nullptr;
  ReleaseLayout();
  delete ldmDatabase_;
  ldmDatabase_ = nullptr;
  geometryError_ = 0;
  partitionInfoError_ = 0;
  layoutError_ = 0;
  return 0;
}

void CDisk::ReleaseLayout() {
  delete layout_;
  layout_ = nullptr;
}

uint32_t CDisk::GetDevicePath(char16_t*& path) const {
  path = nullptr;
  if (!devicePath_.Get()) return 0;
  path = devicePath_.Duplicate();
  return path ? 0 : ERROR_NOT_ENOUGH_MEMORY_CODE;
}

uint32_t CDisk::BytesPerSector() const { return geometry_ ? geometry_->Geometry.BytesPerSector : 0; }

uint32_t CDisk::DiskKind() const { return layout_ ? layout_->GetDiskKind() : DISK_KIND_RAW; }

bool CDisk::IsReadyForLdmAnalysis() const {
  if (!layout_ || layout_->GetDiskKind() != DISK_KIND_DYNAMIC || !ldmDatabase_) return false;
  if (geometryError_ != 0 || partitionInfoError_ != 0 || layoutError_ != 0) return false;
  // Only the reads count: a copy that was read but did not decode still
  // leaves the disk ready, so the tests can say what is wrong with it.
  for (LdmCopy copy : {LdmCopy::PrimaryHeader, LdmCopy::AlternateHeader, LdmCopy::BackupHeader,
                       LdmCopy::PrimaryToc, LdmCopy::AlternateToc, LdmCopy::Config}) {
    LdmCopyStatus status = ldmDatabase_->GetCopyStatus(copy);
    if (status.Exists && status.ReadStatus < 0) return false;
  }
  return true;
}

// The probe: what the storage stack says about one disk, asked once and kept
// with the error of every query that failed. Also the synthetic disk that
// stands for a saved LDM database file. Nothing here writes to a disk.

uint32_t CDisk::Initialize() {
  // A second probe starts afresh rather than leaking the first one's buffers.
  Reset();
  PlatformHandle device = kInvalidHandle;
  uint32_t error = ThePlatform().OpenDevice(devicePath_.Get() ? devicePath_.Get() : u"", device);
  if (error != 0) return error;

  uint32_t result = 0;
  geometry_ = AllocateZeroed<DISK_GEOMETRY_EX>();
  if (!geometry_) {
    geometryError_ = ERROR_NOT_ENOUGH_MEMORY_CODE;
  } else {
    QueryGeometry(device);
    QueryAlignment(device);
    if (QueryLayout(device) && QueryPartitionInfo(device)) result = LoadLdmDatabase();
  }
  ThePlatform().CloseDevice(device);
  return SettleQueryErrors(result);
}

void CDisk::QueryGeometry(PlatformHandle device) {
  geometryError_ = ThePlatform().GetDriveGeometry(device, *geometry_);
  if (geometryError_ != 0) {
    std::free(geometry_);
    geometry_ = nullptr;
  }
}

void CDisk::QueryAlignment(PlatformHandle device) {
  STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR alignment{};
  if (ThePlatform().GetAccessAlignment(device, alignment) != 0) {
    // No error is kept: the logical sector size stands in.
    if (geometry_) physicalSectorSize_ = geometry_->Geometry.BytesPerSector;
    return;
  }
  physicalSectorSize_ = alignment.BytesPerPhysicalSector;
  uint32_t offset = alignment.BytesOffsetForSectorAlignment;
  if (offset != 0 && offset < physicalSectorSize_) alignmentOffset_ = physicalSectorSize_ - offset;
}

// False when a buffer could not be allocated: the probe then stops asking.
bool CDisk::QueryLayout(PlatformHandle device) {
  uint32_t size = kLayoutFirstSize;
  uint8_t* buffer = nullptr;
  for (uint32_t attempt = 0;; ++attempt) {
    buffer = static_cast<uint8_t*>(std::calloc(1, size));
    if (!buffer) {
      layoutError_ = ERROR_NOT_ENOUGH_MEMORY_CODE;
      return false;
    }
    layoutError_ = ThePlatform().GetDriveLayout(device, buffer, size);
    if (layoutError_ == 0) break;
    std::free(buffer);
    if (layoutError_ != ERROR_INSUFFICIENT_BUFFER_CODE || attempt + 1 >= kLayoutMaxAttempts) return true;
    size += kLayoutGrowth;
  }

  CDiskLayout* layout = NewLayoutFor(buffer, size);
  if (!layout) {
    std::free(buffer);
    layoutError_ = ERROR_NOT_ENOUGH_MEMORY_CODE;
    return false;
  }
  layout->SetPartitionStyle(reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(buffer)->PartitionStyle);
  layout->SetBuffer(buffer, size);
  layout->SetDisk(this);
  layout->SetDiskNumber(diskNumber_);
  layout_ = layout;
  layoutError_ = 0;
  return true;
}

bool CDisk::QueryPartitionInfo(PlatformHandle device) {
  partitionInfo_ = AllocateZeroed<PARTITION_INFORMATION_EX>();
  if (!partitionInfo_) {
    partitionInfoError_ = ERROR_NOT_ENOUGH_MEMORY_CODE;
    return false;
  }
  partitionInfoError_ = ThePlatform().GetPartitionInfo(device, *partitionInfo_);
  if (partitionInfoError_ != 0) {
    std::free(partitionInfo_);
    partitionInfo_ = nullptr;
  }
  return true;
}

// Only dynamic disks are given to the loader.
uint32_t CDisk::LoadLdmDatabase() {
  if (!layout_ || layout_->GetDiskKind() != DISK_KIND_DYNAMIC) return 0;
  ldmDatabase_ = new (std::nothrow) LDM_DATABASE();
  // The loader refuses a missing database with 87.
  if (!ldmDatabase_) return ERROR_INVALID_PARAMETER_CODE;
  return ldmDatabase_->Initialize(this);
}

// A geometry failure outranks a partition information failure, which
// outranks a layout failure, which outranks the loader's code.
uint32_t CDisk::SettleQueryErrors(uint32_t result) {
  if (layoutError_ != 0) {
    ReleaseLayout();
    result = layoutError_;
  }
  if (partitionInfoError_ != 0) {
    std::free(partitionInfo_);
    partitionInfo_ = nullptr;
    result = partitionInfoError_;
  }
  if (geometryError_ != 0) {
    std::free(geometry_);
    geometry_ = nullptr;
    result = geometryError_;
  }
  return result;
}

uint32_t CLdmFileDisk::Initialize(const char* fileName, CKestrand* owner) {
  if (!owner) return ERROR_INVALID_PARAMETER_CODE;
  owner_ = owner;
  diskNumber_ = 0;
  fileName_ = fileName ? fileName : "";
  diskNumberKnown_ = true;

  partitionInfo_ = AllocateZeroed<PARTITION_INFORMATION_EX>();
  if (!partitionInfo_) {
    partitionInfoError_ = ERROR_NOT_ENOUGH_MEMORY_CODE;
    return 0;
  }
  partitionInfo_->PartitionStyle = PARTITION_STYLE_MBR;
  partitionInfo_->PartitionLength = kLdmFileLength;

  geometry_ = AllocateZeroed<DISK_GEOMETRY_EX>();
  if (!geometry_) {
    geometryError_ = ERROR_NOT_ENOUGH_MEMORY_CODE;
    return 0;
  }
  geometry_->Geometry.BytesPerSector = kLdmFileBytesPerSector;

  // One LDM partition over the whole file, then three empty slots.
  auto* buffer = static_cast<uint8_t*>(std::calloc(1, kLayoutFirstSize));
  CMbrDiskLayout* layout = buffer ? new (std::nothrow) CMbrDiskLayout() : nullptr;
  if (!layout) {
    std::free(buffer);
    layoutError_ = ERROR_NOT_ENOUGH_MEMORY_CODE;
    return 0;
  }
  auto* head = reinterpret_cast<DRIVE_LAYOUT_INFORMATION_EX*>(buffer);
  head->PartitionStyle = PARTITION_STYLE_MBR;
  head->PartitionCount = 4;
  head->PartitionEntry[0].PartitionLength = kLdmFileLength;
  head->PartitionEntry[0].Mbr.PartitionType = MBR_TYPE_LDM;
  layout->SetPartitionStyle(PARTITION_STYLE_MBR);
  layout->SetBuffer(buffer, kLayoutFirstSize);
  layout->SetDisk(this);
  layout->SetDiskNumber(0);
  layout_ = layout;
  layoutError_ = 0;

  ldmDatabase_ = new (std::nothrow) LDM_DATABASE();
  if (!ldmDatabase_) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  return ldmDatabase_->Initialize(this);
}

// The sector source: raw reads of a disk's whole-disk device or of a saved
// database file. The read handle is opened by the first read and kept until
// the disk object is destroyed; nothing here ever writes.

NTSTATUS CDisk::ReadDisk(int64_t& offset, uint32_t length, void* buffer, uint32_t* transferred) {
  uint32_t placed = 0;
  if (!transferred) transferred = &placed;
  *transferred = 0;
  if (readHandle_ == kInvalidHandle) {
    NTSTATUS status = Open();
    // The handle stays invalid, so the next read tries to open again.
    if (status < 0) return status;
  }
  return ThePlatform().ReadAt(readHandle_, offset, length, buffer, transferred);
}

void CDisk::AdviseWillRead(int64_t offset, uint64_t length) {
  // A handle that cannot be opened now is tried again by the first read.
  if (readHandle_ == kInvalidHandle && Open() < 0) return;
  ThePlatform().AdviseWillRead(readHandle_, offset, length);
}

NTSTATUS CDisk::Open() {
  PlatformHandle handle = kInvalidHandle;
  NTSTATUS status = ThePlatform().OpenDiskForRead(diskNumber_, handle);
  if (status >= 0) readHandle_ = handle;
  return status;
}

NTSTATUS CLdmFileDisk::Open() {
  PlatformHandle handle = kInvalidHandle;
  NTSTATUS status = ThePlatform().OpenFileForRead(fileName_, handle);
  readHandle_ = status < 0 ? kInvalidHandle : handle;
  return status < 0 ? status : 0;
}

}  // namespace kestrand
