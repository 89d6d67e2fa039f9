#include "ldm/sector_copy.h"

#include <cstdlib>
#include <cstring>

#include "common/formatters.h"
#include "disk/disk.h"

namespace kestrand {

uint32_t LDM_SECTOR_COPY::ReadSector(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset) {
  if (!owner || !disk || !name) return ERROR_INVALID_PARAMETER_CODE;
  Owner = owner;
  Offset = offset;
  CopyBounded(Name, sizeof Name, name);

  const uint32_t sectorSize = disk->BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  RawSector.reset(static_cast<uint8_t*>(std::calloc(1, sectorSize)));
  if (!RawSector) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  RawSectorSize = sectorSize;

  int64_t readOffset = static_cast<int64_t>(offset);
  ReadAttempted = true;
  ReadStatus = disk->ReadDisk(readOffset, sectorSize, RawSector.get());
  // A sector too small for the magic keeps it empty.
  if (ReadStatus >= 0 && sectorSize >= 8) std::memcpy(Magic, RawSector.get(), 8);
  return 0;
}

}  // namespace kestrand
