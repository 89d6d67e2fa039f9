// What the block-device ioctls tell about an open disk, with the answers for
// a regular file (an image opened in place of a disk): its size and
// 512-byte sectors.
#pragma once

#include <cstdint>

namespace kestrand {

constexpr uint32_t kFileSectorSize = 512;

struct MediaSize {
  bool IsBlockDevice = false;
  uint64_t Bytes = 0;
  uint32_t LogicalSectorSize = kFileSectorSize;
};

struct MediaAlignment {
  uint32_t PhysicalSectorSize = kFileSectorSize;
  uint32_t FirstAlignedOffset = 0;  // BLKALIGNOFF; 0 when the kernel says misaligned (-1)
};

// Each returns 0 or the errno of the failed call; ENOTTY for something that
// is neither a block device nor a regular file.
int QueryMediaSize(int fd, MediaSize& size);
int QueryMediaAlignment(int fd, MediaAlignment& alignment);

// Heads and sectors per track from HDIO_GETGEO; false when the driver does
// not answer or answers zeros.
bool QueryDriverChs(int fd, uint32_t& heads, uint32_t& sectorsPerTrack);

}  // namespace kestrand
