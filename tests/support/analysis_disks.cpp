#include "support/analysis_disks.h"

#include "ldm/records.h"

namespace kestrand::test {

AnalysisDisk::AnalysisDisk(uint32_t number) : TestDisk(number) {
  SetBytesPerSector(512);
  SetDiskLength(static_cast<int64_t>(kDiskBytes));
}

void AnalysisDisk::Load(MemoryReadPlatform& platform, const LdmAreaImage& area) {
  if (!layout_) SetMbrLayout(MBR_TYPE_LDM, 0x1000 + diskNumber_);
  PutMbrDevice(platform, *this, kDiskBytes, area);
  delete ldmDatabase_;
  ldmDatabase_ = new LDM_DATABASE();
  ldmDatabase_->Initialize(this);
}

AnalysisDisk* AnalysisSetTest::NewDisk() {
  owned_.push_back(std::make_unique<AnalysisDisk>(static_cast<uint32_t>(owned_.size())));
  set_.Disks.Append(owned_.back().get());
  return owned_.back().get();
}

AnalysisDisk* AnalysisSetTest::AddDisk(const std::vector<LdmRecordImage>& records, const std::string& diskIdText) {
  AnalysisDisk* disk = NewDisk();
  LdmAreaImage area = AreaWith(records);
  area.Header.DiskIdText = diskIdText;
  disk->Load(platform_, area);
  return disk;
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

}  // namespace kestrand::test
