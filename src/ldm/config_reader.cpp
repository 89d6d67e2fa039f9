// The config reader: the config area of an LDM database read in one piece at
// the size its VMDB header announces, then handed to the block walk.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "common/formatters.h"
#include "disk/disk.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

// Every area is read into one buffer that lives from read to read: a fresh
// zeroed 758,272 bytes for each disk cost more than decoding them. What a
// read did not fill is cleared after it, so a short read leaves zeros past
// its end as a new buffer would; one larger than a real area is given back
// once decoded.
struct AREA_BUFFER {
  std::unique_ptr<uint8_t[], CFreeDeleter> Data;
  size_t Capacity = 0;
};
thread_local AREA_BUFFER areaBuffer;

// The area decoded last, and the header decoded from it. Every disk of a
// group carries the same database, so the next area read is most often the
// same bytes; it then takes that header instead of decoding its own. Only
// the disks hold the header: once they are gone, nothing is shared. The
// bytes are a copy of the area alone, not a second read buffer: a page
// touched for the first time costs about as much as copying it 20 times.
struct LAST_AREA {
  std::unique_ptr<uint8_t[], CFreeDeleter> Bytes;
  size_t Capacity = 0;
  uint32_t Size = 0;
  std::weak_ptr<CONFIG_HEADER> Header;
  NTSTATUS ParseStatus = 0;
};
thread_local LAST_AREA lastArea;

uint8_t* AreaBufferOf(size_t size) {
  if (size > areaBuffer.Capacity) {
    areaBuffer.Data.reset(static_cast<uint8_t*>(std::malloc(size)));
    areaBuffer.Capacity = areaBuffer.Data ? size : 0;
    if (!areaBuffer.Data) return nullptr;
  }
  return areaBuffer.Data.get();
}

void TrimAreaBuffer() {
  if (areaBuffer.Capacity <= size_t{kConfigFirstReadBytes} + 1) return;
  areaBuffer.Data.reset();
  areaBuffer.Capacity = 0;
}

}  // namespace

bool CONFIG_WRAPPER::ReadArea(CDisk* disk, uint32_t size, uint32_t& code) {
  code = 0;
  ByteCount = 0;
  // One spare byte keeps the buffer from being asked for nothing.
  const size_t bufferSize = static_cast<size_t>(size) + 1;
  uint8_t* bytes = AreaBufferOf(bufferSize);
  Bytes = bytes;
  if (!bytes) {
    code = ERROR_NOT_ENOUGH_MEMORY_CODE;
    return false;
  }
  ByteCount = size;
  int64_t readOffset = static_cast<int64_t>(Offset);
  ReadAttempted = true;
  uint32_t transferred = 0;
  ReadStatus = disk->ReadDisk(readOffset, size, bytes, &transferred);
  // A failed read is not decoded; its buffer is cleared whole.
  const size_t filled = ReadStatus < 0 || transferred > size ? 0 : transferred;
  std::memset(bytes + filled, 0, bufferSize - filled);
  if (ReadStatus < 0) {
    PrintReadFailure(ReadStatus, disk->DiskNumber(), u"CONFIG_WRAPPER::Initialize()",
                     u"Call to NtReadFile() failed. 7");
    return false;
  }
  return true;
}

uint32_t CONFIG_WRAPPER::Initialize(LDM_DATABASE* owner, CDisk* disk, uint64_t offset) {
  if (!owner || !disk) return ERROR_INVALID_PARAMETER_CODE;
  Owner = owner;
  Offset = offset;
  CopyBounded(Name, sizeof Name, "Primary");
  Header.reset(new (std::nothrow) CONFIG_HEADER());
  if (!Header) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  const uint32_t code = ReadAndDecode(disk);
  // The decoded header, groups and records hold copies of everything the
  // reports show; the area itself (up to 758,272 bytes a copy) is not kept.
  Bytes = nullptr;
  TrimAreaBuffer();
  return code;
}

uint32_t CONFIG_WRAPPER::ReadAndDecode(CDisk* disk) {
  uint32_t size = kConfigFirstReadBytes;
  // The first read guesses the size; the header then tells the true one, and
  // the area is read once more at that size. A header that still disagrees
  // after the second read is not believed.
  for (int attempt = 0;; ++attempt) {
    uint32_t code = 0;
    if (!ReadArea(disk, size, code)) return code;
    const uint8_t* cursor = Bytes;
    ParseStatus = Header->ParseConfigHeader(cursor, ByteCount);
    if (ParseStatus < 0) return 0;
    const uint64_t announced = static_cast<uint64_t>(Header->NumBlocks) * Header->BlockSize;
    if (announced == size) break;
    if (attempt > 0 || announced > kConfigMaxBytes) {
      ParseStatus = STATUS_LDM_CONFIG_BROKEN_CODE;
      return 0;
    }
    size = static_cast<uint32_t>(announced);
  }

  std::memcpy(Magic, Bytes, 4);
  if (!ShareEqualArea()) {
    ParseBlocks();
    KeepArea();
  }
  return 0;
}

bool CONFIG_WRAPPER::ShareEqualArea() {
  std::shared_ptr<CONFIG_HEADER> decoded = lastArea.Header.lock();
  if (!decoded || lastArea.Size != ByteCount || std::memcmp(lastArea.Bytes.get(), Bytes, ByteCount) != 0)
    return false;
  Header = std::move(decoded);
  ParseStatus = lastArea.ParseStatus;
  return true;
}

void CONFIG_WRAPPER::KeepArea() {
  lastArea.Header.reset();
  // A walk that was never started or ran out of memory is not all that the
  // bytes give; an area larger than a real one is not kept.
  if (!Header->BlockTable || ParseStatus == STATUS_INSUFFICIENT_RESOURCES_CODE || ByteCount > kConfigFirstReadBytes)
    return;
  if (lastArea.Capacity < ByteCount) {
    lastArea.Bytes.reset(static_cast<uint8_t*>(std::malloc(ByteCount)));
    lastArea.Capacity = lastArea.Bytes ? ByteCount : 0;
    if (!lastArea.Bytes) return;
  }
  std::memcpy(lastArea.Bytes.get(), Bytes, ByteCount);
  lastArea.Size = ByteCount;
  lastArea.Header = Header;
  lastArea.ParseStatus = ParseStatus;
}

void CONFIG_WRAPPER::ParseBlocks() {
  // An area that ends inside its own header has no blocks to walk.
  if (ByteCount < Header->HeaderSize) {
    ParseStatus = STATUS_LDM_CONFIG_BROKEN_CODE;
    return;
  }
  // Without memory for the block table the walk is not started and the
  // header's status stands.
  if (!Header->CreateBlockTable()) return;
  const uint8_t* cursor = Bytes + Header->HeaderSize;
  ParseStatus = Header->ParseConfigBlocks(cursor, ByteCount - Header->HeaderSize, Header->HeaderSize);
}

uint32_t CONFIG_WRAPPER::BytesPerSector() const {
  return Owner && Owner->Disk ? Owner->Disk->BytesPerSector() : 0;
}

}  // namespace kestrand
