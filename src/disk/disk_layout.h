// The partition layout of one disk: the DRIVE_LAYOUT_INFORMATION_EX buffer the
// layout query filled, and the class chosen from it, which decides whether the
// disk is raw, basic or dynamic; the layout report of each class (text and
// XML), and the names of the GPT partition types.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/types.h"

namespace kestrand {

class CDisk;
class CKestrandTreeNode;

// What GetDiskKind answers.
constexpr uint32_t DISK_KIND_RAW = 0;
constexpr uint32_t DISK_KIND_BASIC = 1;
constexpr uint32_t DISK_KIND_DYNAMIC = 2;

constexpr uint8_t MBR_TYPE_LDM = 0x42;

// The GPT partition types the reports name, and the two that make a GPT disk
// dynamic.

// {5808C8AA-7E8F-42E0-85D2-E1E90434CFB3}
inline constexpr GUID GPT_TYPE_LDM_METADATA = {0x5808C8AA, 0x7E8F, 0x42E0,
                                               {0x85, 0xD2, 0xE1, 0xE9, 0x04, 0x34, 0xCF, 0xB3}};
// {AF9B60A0-1431-4F62-BC68-3311714A69AD}
inline constexpr GUID GPT_TYPE_LDM_DATA = {0xAF9B60A0, 0x1431, 0x4F62,
                                           {0xBC, 0x68, 0x33, 0x11, 0x71, 0x4A, 0x69, 0xAD}};

// The name of a GPT partition type ("Basic data", "LDM data", ..., "Unknown"
// for a type not in the table). 0, or 8 when the copy cannot be made.
uint32_t GetGptPartitionTypeName(const GUID& type, std::u16string& name);

// What a GPT report shows for a type: its name, or its GUID text when the
// type is not one we know.
uint32_t GetGptPartitionTypeText(const GUID& type, std::u16string& text);

class CDiskLayout {
 public:
  CDiskLayout() = default;
  virtual ~CDiskLayout();
  CDiskLayout(const CDiskLayout&) = delete;
  CDiskLayout& operator=(const CDiskLayout&) = delete;

  virtual uint32_t PrintText(FILE* stream);
  virtual uint32_t AddToReport(CKestrandTreeNode* node);
  virtual uint32_t GetDiskKind();
  virtual uint32_t GetPartitionStyle();

  // Takes ownership of a malloc'ed buffer of `size` bytes (freed with free()).
  void SetBuffer(uint8_t* buffer, uint32_t size);
  void SetPartitionStyle(uint32_t style) { partitionStyle_ = style; }
  void SetDisk(CDisk* disk) { disk_ = disk; }
  void SetDiskNumber(uint32_t number) { diskNumber_ = number; }

  uint32_t PartitionStyleField() const { return partitionStyle_; }
  CDisk* Disk() const { return disk_; }
  uint32_t DiskNumber() const { return diskNumber_; }
  uint32_t BufferSize() const { return bufferSize_; }

  // The 48-byte head of the buffer; nullptr when the buffer is shorter.
  const DRIVE_LAYOUT_INFORMATION_EX* Head() const;
  // The PartitionCount as the driver wrote it (0 without a head).
  uint32_t PartitionCount() const;
  // How many entries the buffer really holds: the PartitionCount, cut to the
  // entries that fit in the bytes we have, so a hostile count never reads past.
  uint32_t EntryCount() const;
  // Entry i (< EntryCount()); nullptr past the end.
  const PARTITION_INFORMATION_EX* Entry(uint32_t i) const;

  // PartitionLength / BytesPerSector of the disk's geometry; 0 without a
  // geometry or with 0 bytes per sector.
  uint64_t TotalSectors(const PARTITION_INFORMATION_EX& entry) const;

 protected:
  // The grouped numbers every partition row shows.
  struct ExtentTexts {
    std::u16string StartingOffset;
    std::u16string PartitionLength;
    std::u16string TotalSectors;
  };
  uint32_t FormatExtent(const PARTITION_INFORMATION_EX& entry, ExtentTexts& texts) const;

  // The child `name` of `parent`, shown as `caption` with the layout icon.
  static uint32_t AddElement(CKestrandTreeNode* parent, const char* name, const char* caption,
                             CKestrandTreeNode*& added);
  // The DiskLayout element under `node` and its BasicInformation child.
  static uint32_t AddLayoutElements(CKestrandTreeNode* node, CKestrandTreeNode*& layoutNode,
                                    CKestrandTreeNode*& basic);
  // The element "Partition<i + 1>" of entry i.
  static uint32_t AddPartitionElement(CKestrandTreeNode* layoutNode, uint32_t i, CKestrandTreeNode*& partition);

 private:
  uint32_t partitionStyle_ = PARTITION_STYLE_RAW;
  uint8_t* buffer_ = nullptr;
  uint32_t bufferSize_ = 0;
  CDisk* disk_ = nullptr;
  uint32_t diskNumber_ = 0;
};

class CMbrDiskLayout : public CDiskLayout {
 public:
  uint32_t PrintText(FILE* stream) override;
  uint32_t AddToReport(CKestrandTreeNode* node) override;
  uint32_t GetDiskKind() override;
  uint32_t GetPartitionStyle() override { return PARTITION_STYLE_MBR; }

  uint32_t PrintPartitionTable(FILE* stream);
  uint32_t AddPartitionsToReport(CKestrandTreeNode* layoutNode);
};

class CGptDiskLayout : public CDiskLayout {
 public:
  uint32_t PrintText(FILE* stream) override;
  uint32_t AddToReport(CKestrandTreeNode* node) override;
  uint32_t GetDiskKind() override;
  uint32_t GetPartitionStyle() override { return PARTITION_STYLE_GPT; }

  uint32_t PrintPartitionTable(FILE* stream);
  uint32_t AddPartitionsToReport(CKestrandTreeNode* layoutNode);

 private:
  // The extent, the partition GUID and the type text of one row.
  uint32_t FormatRow(const PARTITION_INFORMATION_EX& entry, ExtentTexts& texts, std::u16string& id,
                     std::u16string& type) const;
};

class CRawDiskLayout : public CDiskLayout {
 public:
  uint32_t PrintText(FILE* stream) override;
  uint32_t AddToReport(CKestrandTreeNode* node) override;
};

// A new, empty layout object of the class that suits this buffer: MBR with
// entries, GPT, or RAW for everything else (an MBR layout without entries
// included). nullptr when it cannot be allocated.
CDiskLayout* NewLayoutFor(const uint8_t* buffer, uint32_t size);

}  // namespace kestrand
