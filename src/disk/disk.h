// One disk with everything the tool learnt about it: what the disk set found
// (device path, instance id, number), what the device queries answered (or
// why they did not), the partition layout and, for a dynamic disk, its LDM
// database. Filled once by the probe, then only read.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "common/containers.h"
#include "platform/platform.h"
#include "platform/types.h"

namespace kestrand {

class CKestrand;
class CDiskLayout;
class CKestrandTreeNode;
struct LDM_DATABASE;

class CDisk {
 public:
  CDisk() = default;
  // Virtual because the disk list deletes CLdmFileDisks through CDisk*.
  virtual ~CDisk();
  CDisk(const CDisk&) = delete;
  CDisk& operator=(const CDisk&) = delete;

  // The probe: device queries, layout class, LDM database of a dynamic disk.
  uint32_t Initialize();
  // Releases every query result and the LDM database; keeps paths, number,
  // flags and the read handle. Always 0.
  uint32_t Reset();

  // Sector source: reads `length` bytes at byte `offset` into `buffer`,
  // opening the read handle on first use. Returns the platform's NTSTATUS;
  // `transferred`, when given, is how many bytes a successful read placed.
  NTSTATUS ReadDisk(int64_t& offset, uint32_t length, void* buffer, uint32_t* transferred = nullptr);
  // Tells the platform that `length` bytes at `offset` are about to be read
  // (opening the read handle on first use); nothing happens when it cannot.
  void AdviseWillRead(int64_t offset, uint64_t length);
  // Opens the read handle: the whole-disk device of the disk number.
  virtual NTSTATUS Open();

  // A new heap copy of the device path (free() it); nullptr without a path.
  // 0, or 8 when the copy cannot be made.
  uint32_t GetDevicePath(char16_t*& path) const;

  // Dynamic, every query answered, and every LDM structure read (decoded or
  // not). The one readiness test of the merged tree and the analysis.
  bool IsReadyForLdmAnalysis() const;

  // Disk report (text and XML).
  uint32_t PrintText(FILE* stream);
  uint32_t AddToReport(CKestrandTreeNode* node, bool withTests);
  uint32_t PrintErrors(FILE* stream);
  uint32_t PrintDeviceInformation(FILE* stream);
  uint32_t PrintGeometry(FILE* stream);
  uint32_t AddErrorsToReport(CKestrandTreeNode* node);
  uint32_t AddGeometryToReport(CKestrandTreeNode* node);

  // What the disk set sets.
  void SetOwner(CKestrand* owner) { owner_ = owner; }
  bool SetDevicePath(const char16_t* path) { return devicePath_.Assign(path); }
  bool SetInstanceId(const char16_t* id) { return instanceId_.Assign(id); }
  void SetDiskNumber(uint32_t number) { diskNumber_ = number; }
  void SetDiskNumberKnown(bool known) { diskNumberKnown_ = known; }
  // Set by the LDM loader for a basic MBR disk whose primary header decodes.
  void SetBasicDiskWithLdmDatabase(bool value) { basicDiskWithLdmDatabase_ = value; }

  CKestrand* Owner() const { return owner_; }
  const char16_t* DevicePath() const { return devicePath_.Get(); }
  const char16_t* InstanceId() const { return instanceId_.Get(); }
  uint32_t DiskNumber() const { return diskNumber_; }
  bool DiskNumberKnown() const { return diskNumberKnown_; }
  bool BasicDiskWithLdmDatabase() const { return basicDiskWithLdmDatabase_; }
  uint32_t PhysicalSectorSize() const { return physicalSectorSize_; }
  uint32_t AlignmentOffset() const { return alignmentOffset_; }
  const DISK_GEOMETRY_EX* Geometry() const { return geometry_; }
  uint32_t GeometryError() const { return geometryError_; }
  const PARTITION_INFORMATION_EX* PartitionInfo() const { return partitionInfo_; }
  uint32_t PartitionInfoError() const { return partitionInfoError_; }
  CDiskLayout* Layout() const { return layout_; }
  uint32_t LayoutError() const { return layoutError_; }
  LDM_DATABASE* LdmDatabase() const { return ldmDatabase_; }
  PlatformHandle ReadHandle() const { return readHandle_; }
  bool IsDevice() const { return isDevice_; }

  // Bytes per sector of the geometry; 0 without one.
  uint32_t BytesPerSector() const;
  // The layout's disk kind; raw (0) without a layout.
  uint32_t DiskKind() const;

 protected:
  // Probe steps.
  void QueryGeometry(PlatformHandle device);
  void QueryAlignment(PlatformHandle device);
  bool QueryLayout(PlatformHandle device);
  bool QueryPartitionInfo(PlatformHandle device);
  uint32_t LoadLdmDatabase();
  uint32_t SettleQueryErrors(uint32_t result);
  void ReleaseLayout();

  CKestrand* owner_ = nullptr;
  CWideString devicePath_;
  CWideString instanceId_;
  uint32_t diskNumber_ = 0;
  bool diskNumberKnown_ = false;
  bool basicDiskWithLdmDatabase_ = false;
  uint32_t physicalSectorSize_ = 0;
  uint32_t alignmentOffset_ = 0;
  DISK_GEOMETRY_EX* geometry_ = nullptr;
  uint32_t geometryError_ = 0;
  PARTITION_INFORMATION_EX* partitionInfo_ = nullptr;
  uint32_t partitionInfoError_ = 0;
  CDiskLayout* layout_ = nullptr;
  uint32_t layoutError_ = 0;
  LDM_DATABASE* ldmDatabase_ = nullptr;
  PlatformHandle readHandle_ = kInvalidHandle;
  bool isDevice_ = true;
};

// A saved LDM database file (-l), shown as a 1 MB MBR disk of 512-byte
// sectors with one LDM partition, so the same readers and reports apply.
class CLdmFileDisk : public CDisk {
 public:
  CLdmFileDisk() { isDevice_ = false; }

  // Builds the synthetic disk and reads its LDM database. 87 without owner.
  uint32_t Initialize(const char* fileName, CKestrand* owner);
  // Opens the file named on the command line.
  NTSTATUS Open() override;

  const std::string& FileName() const { return fileName_; }

 private:
  std::string fileName_;
};

}  // namespace kestrand
