// MBR and extended boot records, in the shape of the Windows layout query:
// every partition sector contributes its four slots in order; a logical
// partition's start counts from its own boot record, a link to the next
// boot record counts from the start of the extended partition.
#include <set>

#include "partition/partition_layout_draft.h"
#include "partition/table_bytes.h"

namespace kestrand {
namespace {

constexpr size_t kEntriesOffset = 446;
constexpr size_t kEntryBytes = 16;

struct MbrSlot {
  uint8_t BootIndicator;
  uint8_t Type;
  uint32_t RelativeSector;
  uint32_t SectorCount;
};

MbrSlot LoadSlot(const std::vector<uint8_t>& sector, size_t slot) {
  const uint8_t* p = sector.data() + kEntriesOffset + slot * kEntryBytes;
  return MbrSlot{p[0], p[4], LoadLe32(p + 8), LoadLe32(p + 12)};
}

// Where the partition sector at `recordLba` says the next boot record is;
// 0 when it names none.
uint64_t NextRecordLba(const std::vector<uint8_t>& sector, uint64_t recordLba, uint64_t extendedBase) {
  for (size_t slot = 0; slot < 4; ++slot) {
    MbrSlot s = LoadSlot(sector, slot);
    if (IsContainerMbrType(s.Type)) return (recordLba == 0 ? 0 : extendedBase) + s.RelativeSector;
  }
  return 0;
}

class CMbrWalker {
 public:
  CMbrWalker(const PartitionTableSource& source, LayoutDraft& draft) : source_(source), draft_(draft) {}

  WIN32_ERROR Walk(const std::vector<uint8_t>& sector0);

 private:
  void AddSlots(const std::vector<uint8_t>& sector, uint64_t recordLba);
  bool NextRecordReadable(uint64_t lba) const;

  const PartitionTableSource& source_;
  LayoutDraft& draft_;
  uint64_t extendedBase_ = 0;
  uint32_t nextNumber_ = 1;
};

void CMbrWalker::AddSlots(const std::vector<uint8_t>& sector, uint64_t recordLba) {
  const uint64_t bytesPerSector = source_.BytesPerSector;
  for (size_t slot = 0; slot < 4; ++slot) {
    MbrSlot s = LoadSlot(sector, slot);
    PARTITION_INFORMATION_EX entry = ZeroPartitionEntry();
    if (s.Type != 0) {
      const bool container = IsContainerMbrType(s.Type);
      const uint64_t base = container && recordLba != 0 ? extendedBase_ : recordLba;
      // base and the relative sector are below 2^33 and a sector is at most
      // 2^16 bytes, so the products stay far below 2^63.
      entry.StartingOffset = static_cast<int64_t>((base + s.RelativeSector) * bytesPerSector);
      entry.PartitionLength = static_cast<int64_t>(uint64_t{s.SectorCount} * bytesPerSector);
      entry.PartitionNumber = container ? 0 : nextNumber_++;
      entry.Mbr.PartitionType = s.Type;
      entry.Mbr.BootIndicator = s.BootIndicator == 0x80 ? 1 : 0;
      entry.Mbr.RecognizedPartition = IsRecognizedMbrType(s.Type) ? 1 : 0;
      entry.Mbr.HiddenSectors = s.RelativeSector;
    }
    draft_.Entries.push_back(entry);
  }
}

bool CMbrWalker::NextRecordReadable(uint64_t lba) const {
  return lba != 0 && RegionInsideDisk(source_, lba * source_.BytesPerSector, source_.BytesPerSector);
}

WIN32_ERROR CMbrWalker::Walk(const std::vector<uint8_t>& sector0) {
  draft_.PartitionStyle = PARTITION_STYLE_MBR;
  draft_.Mbr.Signature = LoadLe32(sector0.data() + 440);
  AddSlots(sector0, 0);
  std::set<uint64_t> visited;
  std::vector<uint8_t> sector = sector0;
  uint64_t recordLba = 0;
  for (uint32_t records = 0; records < kMaxExtendedBootRecords; ++records) {
    const uint64_t next = NextRecordLba(sector, recordLba, extendedBase_);
    if (!NextRecordReadable(next) || !visited.insert(next).second) break;
    if (recordLba == 0) extendedBase_ = next;
    WIN32_ERROR error = ReadRegion(source_, next * source_.BytesPerSector, source_.BytesPerSector, sector);
    if (error != ERROR_SUCCESS_CODE) return error;
    if (!HasBootSignature(sector)) break;
    recordLba = next;
    AddSlots(sector, recordLba);
  }
  return ERROR_SUCCESS_CODE;
}

bool AllPrimarySlotsEmpty(const LayoutDraft& draft) {
  for (size_t i = 0; i < 4 && i < draft.Entries.size(); ++i)
    if (draft.Entries[i].Mbr.PartitionType != 0) return false;
  return true;
}

}  // namespace

WIN32_ERROR ReadMbrLayout(const PartitionTableSource& source, const std::vector<uint8_t>& sector0,
                          LayoutDraft& draft) {
  CMbrWalker walker(source, draft);
  WIN32_ERROR error = walker.Walk(sector0);
  // An initialized disk without partitions lists no entries at all.
  if (error == ERROR_SUCCESS_CODE && AllPrimarySlotsEmpty(draft)) draft.Entries.clear();
  return error;
}

}  // namespace kestrand
