#include "analysis_disks.h"

#include <cstdlib>
#include <cstring>

#include "disk/disk_layout.h"
#include "ldm/ldm_record.h"

namespace kestrand::test {

AnalysisDisk::AnalysisDisk(uint32_t number) : LdmTestDisk(number) {
  SetBytesPerSector(512);
  SetDiskLength(static_cast<int64_t>(kDiskBytes));
}

void AnalysisDisk::SetMbr(uint32_t signature, bool boot, uint8_t type) {
  std::vector<uint8_t> bytes(DRIVE_LAYOUT_HEAD_BYTES + PARTITION_ENTRY_BYTES, 0);
  auto* head = reinterpret_cast<DRIVE_LAYOUT_INFORMATION_EX*>(bytes.data());
  head->PartitionStyle = PARTITION_STYLE_MBR;
  head->PartitionCount = 1;
  head->Mbr.Signature = signature;
  auto* entry = reinterpret_cast<PARTITION_INFORMATION_EX*>(bytes.data() + DRIVE_LAYOUT_HEAD_BYTES);
  entry->PartitionStyle = PARTITION_STYLE_MBR;
  entry->StartingOffset = 63 * 512;
  entry->PartitionLength = static_cast<int64_t>(kDiskBytes) - entry->StartingOffset;
  entry->Mbr.PartitionType = type;
  entry->Mbr.BootIndicator = boot ? 1 : 0;

  delete layout_;
  auto* copy = static_cast<uint8_t*>(std::malloc(bytes.size()));
  std::memcpy(copy, bytes.data(), bytes.size());
  layout_ = NewLayoutFor(copy, static_cast<uint32_t>(bytes.size()));
  layout_->SetPartitionStyle(PARTITION_STYLE_MBR);
  layout_->SetBuffer(copy, static_cast<uint32_t>(bytes.size()));
  layout_->SetDisk(this);
  layout_->SetDiskNumber(diskNumber_);
}

void AnalysisDisk::Load(MemoryReadPlatform& platform, const LdmAreaImage& area) {
  if (!layout_) SetMbr(0x1000 + diskNumber_);
  platform.DiskBytes.assign(kDiskBytes, 0);
  const std::vector<uint8_t> bytes = area.Build();
  std::copy(bytes.begin(), bytes.end(), platform.DiskBytes.end() - static_cast<ptrdiff_t>(bytes.size()));
  const std::vector<uint8_t> backup = BuildPrivateHeader(area.Header, area.SectorSize);
  std::copy(backup.begin(), backup.end(), platform.DiskBytes.begin() + 6 * area.SectorSize);
  delete ldmDatabase_;
  ldmDatabase_ = new LDM_DATABASE();
  ldmDatabase_->Initialize(this);
}

LdmRecordImage PackRecord(const std::string& name, uint64_t id, const std::string& packIdText) {
  PackFields fields;
  fields.Name = name;
  fields.RecordId = id;
  fields.PackIdText = packIdText;
  return BuildPackRecord(fields);
}

LdmRecordImage VolumeRecord(uint64_t id, const std::string& name, int64_t length, uint32_t plexes) {
  VolumeFields fields;
  fields.RecordId = id;
  fields.Name = name;
  fields.Length = length;
  fields.NumPlexes = plexes;
  return BuildVolumeRecord(fields);
}

LdmRecordImage PlexRecord(uint64_t id, const std::string& name, uint64_t volumeId, uint8_t layout,
                          uint32_t subdisks) {
  PlexFields fields;
  fields.RecordId = id;
  fields.Name = name;
  fields.VolumeRecordId = volumeId;
  fields.Layout = layout;
  fields.SubdiskCount = subdisks;
  return BuildPlexRecord(fields);
}

LdmRecordImage SubdiskRecord(uint64_t id, const std::string& name, uint64_t plexId, uint64_t diskId,
                             int64_t length, uint64_t diskOffset, uint64_t plexOffset) {
  SubdiskFields fields;
  fields.RecordId = id;
  fields.Name = name;
  fields.PlexRecordId = plexId;
  fields.DiskRecordId = diskId;
  fields.Length = length;
  fields.DiskOffset = diskOffset;
  fields.PlexOffset = plexOffset;
  return BuildSubdiskRecord(fields);
}

LdmRecordImage DiskRecord(uint64_t id, const std::string& name, const std::string& diskIdText) {
  DiskFields fields;
  fields.RecordId = id;
  fields.Name = name;
  fields.DiskIdText = diskIdText;
  return BuildDiskRecord(fields);
}

std::vector<uint8_t> ConfigWith(const std::vector<LdmRecordImage>& records) {
  ConfigAreaBuilder builder(64);
  uint32_t group = 1;
  for (const LdmRecordImage& record : records) builder.AddRecord(group++, record);
  return builder.Build();
}

LdmAreaImage AreaWith(const std::vector<LdmRecordImage>& records) {
  LdmAreaImage area;
  area.Config = ConfigWith(records);
  return area;
}

std::string TreeShape(const RECORD_TREE_NODE* node) {
  std::string shape;
  for (; node; node = node->NextSibling) {
    if (!shape.empty()) shape += ' ';
    shape += node->Record ? node->Record->RecordName : "?";
    if (node->FirstChild) shape += "[" + TreeShape(node->FirstChild) + "]";
  }
  return shape;
}

const char* Attr(const CKestrandTreeNode* node, const char* name) { return node ? node->AttributeValue(name) : nullptr; }

std::vector<std::string> AttributeNames(const CKestrandTreeNode* node) {
  std::vector<std::string> names;
  if (!node || !node->Attributes()) return names;
  for (CPtrListIterator<CKestrandAttribute> it(*node->Attributes()); !it.AtEnd(); it.Advance())
    names.push_back(it.Current()->Name);
  return names;
}

CKestrandTreeNode* ChildCaptioned(const CKestrandTreeNode* node, const std::string& caption) {
  for (CKestrandTreeNode* child = node ? node->FirstChild() : nullptr; child; child = child->NextSibling()) {
    const char* value = child->AttributeValue("_ElementDisplayName");
    if (value && caption == value) return child;
  }
  return nullptr;
}

std::vector<CKestrandTreeNode*> ChildrenNamed(const CKestrandTreeNode* node, const char* name) {
  std::vector<CKestrandTreeNode*> children;
  for (CKestrandTreeNode* child = node ? node->FirstChild() : nullptr; child; child = child->NextSibling())
    if (std::strcmp(child->Name(), name) == 0) children.push_back(child);
  return children;
}

std::vector<CKestrandTreeNode*> DescendantsNamed(const CKestrandTreeNode* node, const char* name) {
  std::vector<CKestrandTreeNode*> found;
  if (!node) return found;
  if (std::strcmp(node->Name(), name) == 0) found.push_back(const_cast<CKestrandTreeNode*>(node));
  for (CKestrandTreeNode* child = node->FirstChild(); child; child = child->NextSibling()) {
    std::vector<CKestrandTreeNode*> below = DescendantsNamed(child, name);
    found.insert(found.end(), below.begin(), below.end());
  }
  return found;
}

}  // namespace kestrand::test
