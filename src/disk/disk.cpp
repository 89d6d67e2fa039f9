#include "disk/disk.h"

#include <cstdlib>

#include "disk/disk_layout.h"
#include "ldm/ldm_database.h"

namespace kestrand {

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

}  // namespace kestrand
