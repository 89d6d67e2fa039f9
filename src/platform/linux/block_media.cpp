#include "platform/linux/block_media.h"

#include <stddef.h>  // the ioctl numbers of linux/fs.h use size_t
#include <linux/fs.h>
#include <linux/hdreg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>

namespace kestrand {
namespace {

// 0 for a block device, 1 for a regular file, else the errno to answer.
int KindOf(int fd, struct stat& st) {
  if (fstat(fd, &st) != 0) return errno;
  if (S_ISBLK(st.st_mode) || S_ISREG(st.st_mode)) return 0;
  return ENOTTY;
}

}  // namespace

int QueryMediaSize(int fd, MediaSize& size) {
  struct stat st;
  if (int error = KindOf(fd, st)) return error;
  size = MediaSize{};
  if (!S_ISBLK(st.st_mode)) {
    size.Bytes = st.st_size > 0 ? static_cast<uint64_t>(st.st_size) : 0;
    return 0;
  }
  size.IsBlockDevice = true;
  int logical = 0;
  uint64_t bytes = 0;
  if (ioctl(fd, BLKSSZGET, &logical) != 0) return errno;
  if (ioctl(fd, BLKGETSIZE64, &bytes) != 0) return errno;
  if (logical <= 0) return EINVAL;
  size.LogicalSectorSize = static_cast<uint32_t>(logical);
  size.Bytes = bytes;
  return 0;
}

int QueryMediaAlignment(int fd, MediaAlignment& alignment) {
  struct stat st;
  if (int error = KindOf(fd, st)) return error;
  alignment = MediaAlignment{};
  if (!S_ISBLK(st.st_mode)) return 0;
  unsigned int physical = 0;
  int offset = 0;
  if (ioctl(fd, BLKPBSZGET, &physical) != 0) return errno;
  if (ioctl(fd, BLKALIGNOFF, &offset) != 0) return errno;
  if (physical == 0) return EINVAL;
  alignment.PhysicalSectorSize = physical;
  alignment.FirstAlignedOffset = offset > 0 ? static_cast<uint32_t>(offset) : 0;
  return 0;
}

bool QueryDriverChs(int fd, uint32_t& heads, uint32_t& sectorsPerTrack) {
  hd_geometry geometry{};
  if (ioctl(fd, HDIO_GETGEO, &geometry) != 0 || geometry.heads == 0 || geometry.sectors == 0) return false;
  heads = geometry.heads;
  sectorsPerTrack = geometry.sectors;
  return true;
}

}  // namespace kestrand
