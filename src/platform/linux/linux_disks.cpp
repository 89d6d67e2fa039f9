// Disks and device queries: the whole disks of sysfs and their numbers,
// opening them, and geometry, alignment, layout and whole-disk partition
// information from the block-device ioctls and the partition table reader
// (of an open disk, or of an image file opened in its place). Also the
// small reads of sysfs and /proc text that the other files use.
#include <dirent.h>
#include <fcntl.h>
#include <stddef.h>  // the ioctl numbers of linux/fs.h use size_t
#include <linux/fs.h>
#include <linux/hdreg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <limits>

#include "platform/linux/linux_internal.h"

namespace kestrand {

// ---- sysfs and /proc text

int ReadTextFile(const std::string& path, std::string& out, size_t maxBytes) {
  out.clear();
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno;
  char chunk[4096];
  int error = 0;
  while (out.size() < maxBytes) {
    const size_t want = std::min(sizeof chunk, maxBytes - out.size());
    const ssize_t got = read(fd, chunk, want);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error = errno;
    if (got <= 0) break;
    out.append(chunk, static_cast<size_t>(got));
  }
  close(fd);
  return error;
}

bool ReadAttribute(const std::string& path, std::string& value) {
  if (ReadTextFile(path, value) != 0) return false;
  const size_t end = value.find('\n');
  if (end != std::string::npos) value.resize(end);
  return true;
}

int ListDirectory(const std::string& path, std::vector<std::string>& names) {
  names.clear();
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return errno;
  while (const dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(dir);
  return 0;
}

bool PathExists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

// ---- the disk listing

namespace {

constexpr char kScsiTypeOptical[] = "5";

bool StartsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

bool IsExcludedByName(const std::string& name) {
  return StartsWith(name, "ram") || StartsWith(name, "zram") || StartsWith(name, "dm-") ||
         StartsWith(name, "md") || StartsWith(name, "sr");
}

bool ParseUnsigned(const std::string& text, uint64_t& value) {
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, value);
  return ec == std::errc() && ptr == end && !text.empty();
}

bool HasMedia(const std::string& dir) {
  std::string text;
  uint64_t sectors = 0;
  return ReadAttribute(dir + "/size", text) && ParseUnsigned(text, sectors) && sectors > 0;
}

bool IsOptical(const std::string& dir) {
  std::string type;
  return ReadAttribute(dir + "/device/type", type) && type == kScsiTypeOptical;
}

bool IsListable(const std::string& sysBlock, const std::string& name) {
  if (IsExcludedByName(name)) return false;
  const std::string dir = sysBlock + "/" + name;
  if (StartsWith(name, "loop") && !PathExists(dir + "/loop/backing_file")) return false;
  return HasMedia(dir) && !IsOptical(dir);
}

// The entry's link into the device tree, relative to the sysfs root; an
// entry that is not a link stands for itself.
std::string InstanceIdOf(const std::string& sysBlock, const std::string& name) {
  char target[4096];
  const ssize_t length = readlink((sysBlock + "/" + name).c_str(), target, sizeof target - 1);
  if (length <= 0) return "block/" + name;
  std::string id(target, static_cast<size_t>(length));
  while (StartsWith(id, "../")) id.erase(0, 3);
  return id;
}

bool DescribeDisk(const std::string& sysRoot, const std::string& devRoot, const std::string& name,
                  ListedDisk& disk) {
  const std::string sysBlock = sysRoot + "/block";
  std::string text;
  if (!IsListable(sysBlock, name) || !ReadAttribute(sysBlock + "/" + name + "/dev", text)) return false;
  if (!ParseDeviceNumber(text, disk.Major, disk.Minor)) return false;
  disk.Name = name;
  disk.Removable = ReadAttribute(sysBlock + "/" + name + "/removable", text) && text == "1";
  disk.DevicePath = devRoot + "/" + name;
  disk.InstanceId = InstanceIdOf(sysBlock, name);
  return true;
}

}  // namespace

bool ParseDeviceNumber(const std::string& text, uint32_t& major, uint32_t& minor) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  uint64_t ma = 0;
  uint64_t mi = 0;
  if (!ParseUnsigned(text.substr(0, colon), ma) || !ParseUnsigned(text.substr(colon + 1), mi)) return false;
  if (ma > std::numeric_limits<uint32_t>::max() || mi > std::numeric_limits<uint32_t>::max()) return false;
  major = static_cast<uint32_t>(ma);
  minor = static_cast<uint32_t>(mi);
  return true;
}

WIN32_ERROR ListWholeDisks(const std::string& sysRoot, const std::string& devRoot,
                           std::vector<ListedDisk>& disks) {
  disks.clear();
  std::vector<std::string> names;
  const int error = ListDirectory(sysRoot + "/block", names);
  if (error != 0) return Win32FromErrno(error);
  for (const std::string& name : names) {
    ListedDisk disk;
    if (DescribeDisk(sysRoot, devRoot, name, disk)) disks.push_back(disk);
  }
  std::sort(disks.begin(), disks.end(), [](const ListedDisk& a, const ListedDisk& b) {
    if (a.Major != b.Major) return a.Major < b.Major;
    if (a.Minor != b.Minor) return a.Minor < b.Minor;
    return a.Name < b.Name;
  });
  for (size_t i = 0; i < disks.size(); ++i) disks[i].Number = static_cast<uint32_t>(i);
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CLinuxPlatform::ListDiskInterfaces(std::vector<DiskInterface>& out) {
  out.clear();
  const WIN32_ERROR error = ListWholeDisks(sysRoot_, devRoot_, disks_);
  if (error != ERROR_SUCCESS_CODE) return error;
  for (const ListedDisk& disk : disks_)
    out.push_back(DiskInterface{Utf8ToUtf16(disk.InstanceId), Utf8ToUtf16(disk.DevicePath)});
  return ERROR_NO_MORE_ITEMS_CODE;
}

WIN32_ERROR CLinuxPlatform::OpenDevice(const std::u16string& devicePath, PlatformHandle& handle) {
  return Win32FromErrno(OpenReadOnly(Utf16ToUtf8(devicePath), handle));
}

void CLinuxPlatform::CloseDevice(PlatformHandle handle) { Forget(handle); }

// Like the Windows query on something that is not a disk, a handle that is
// not one of the listed disks has no number.
WIN32_ERROR CLinuxPlatform::GetDeviceNumber(PlatformHandle device, uint32_t& deviceNumber) {
  if (DescriptorOf(device) < 0) return ERROR_INVALID_HANDLE_CODE;
  const ListedDisk* disk = DiskBehind(device);
  if (disk == nullptr) return ERROR_INVALID_FUNCTION_CODE;
  deviceNumber = disk->Number;
  return ERROR_SUCCESS_CODE;
}

const ListedDisk* CLinuxPlatform::DiskBehind(PlatformHandle handle) {
  const int fd = DescriptorOf(handle);
  if (fd < 0) return nullptr;
  struct stat st;
  if (fstat(fd, &st) != 0) return nullptr;
  const std::string path = openPaths_[handle];
  auto find = [&]() -> const ListedDisk* {
    for (const ListedDisk& disk : disks_) {
      if (S_ISBLK(st.st_mode) ? (disk.Major == major(st.st_rdev) && disk.Minor == minor(st.st_rdev))
                              : disk.DevicePath == path)
        return &disk;
    }
    return nullptr;
  };
  if (const ListedDisk* disk = find()) return disk;
  // A listing that fails leaves no disks: the handle is then no listed disk.
  ListWholeDisks(sysRoot_, devRoot_, disks_);
  return find();
}

const ListedDisk* CLinuxPlatform::DiskNumbered(uint32_t number) {
  // A listing that fails leaves no disks: no disk has the number.
  if (number >= disks_.size()) ListWholeDisks(sysRoot_, devRoot_, disks_);
  return number < disks_.size() ? &disks_[number] : nullptr;
}

// ---- device queries

namespace {

// What the block-device ioctls tell about an open disk, with the answers for
// a regular file (an image opened in place of a disk): its size and
// 512-byte sectors.
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

// 0 for a block device, 1 for a regular file, else the errno to answer.
int KindOf(int fd, struct stat& st) {
  if (fstat(fd, &st) != 0) return errno;
  if (S_ISBLK(st.st_mode) || S_ISREG(st.st_mode)) return 0;
  return ENOTTY;
}

// Each returns 0 or the errno of the failed call; ENOTTY for something that
// is neither a block device nor a regular file.
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

// Heads and sectors per track from HDIO_GETGEO; false when the driver does
// not answer or answers zeros.
bool QueryDriverChs(int fd, uint32_t& heads, uint32_t& sectorsPerTrack) {
  hd_geometry geometry{};
  if (ioctl(fd, HDIO_GETGEO, &geometry) != 0 || geometry.heads == 0 || geometry.sectors == 0) return false;
  heads = geometry.heads;
  sectorsPerTrack = geometry.sectors;
  return true;
}

// 0 with the size, or the code to answer: a device without media is not
// ready, as on Windows.
WIN32_ERROR SizeOf(int fd, MediaSize& size) {
  if (fd < 0) return ERROR_INVALID_HANDLE_CODE;
  if (int error = QueryMediaSize(fd, size)) return Win32FromErrno(error);
  if (size.IsBlockDevice && size.Bytes == 0) return ERROR_NOT_READY_CODE;
  return ERROR_SUCCESS_CODE;
}

}  // namespace

WIN32_ERROR CLinuxPlatform::GetDriveGeometry(PlatformHandle device, DISK_GEOMETRY_EX& geometry) {
  const int fd = DescriptorOf(device);
  MediaSize size;
  if (WIN32_ERROR error = SizeOf(fd, size)) return error;
  const ListedDisk* disk = DiskBehind(device);
  const bool removable = disk != nullptr && disk->Removable;
  uint32_t heads = kDefaultTracksPerCylinder;
  uint32_t sectorsPerTrack = kDefaultSectorsPerTrack;
  if (size.IsBlockDevice && !QueryDriverChs(fd, heads, sectorsPerTrack)) {
    heads = kDefaultTracksPerCylinder;
    sectorsPerTrack = kDefaultSectorsPerTrack;
  }
  geometry = MakeDiskGeometry(static_cast<int64_t>(size.Bytes), size.LogicalSectorSize, removable, heads,
                              sectorsPerTrack);
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CLinuxPlatform::GetAccessAlignment(PlatformHandle device,
                                               STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR& alignment) {
  const int fd = DescriptorOf(device);
  MediaSize size;
  if (WIN32_ERROR error = SizeOf(fd, size)) return error;
  MediaAlignment media;
  if (int error = QueryMediaAlignment(fd, media)) return Win32FromErrno(error);
  alignment = MakeAlignmentDescriptor(size.LogicalSectorSize, media.PhysicalSectorSize, media.FirstAlignedOffset);
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CLinuxPlatform::TableSource(PlatformHandle device, PartitionTableSource& source) {
  const int fd = DescriptorOf(device);
  MediaSize size;
  if (WIN32_ERROR error = SizeOf(fd, size)) return error;
  if (size.Bytes > static_cast<uint64_t>(INT64_MAX)) return ERROR_INVALID_PARAMETER_CODE;
  source.BytesPerSector = size.LogicalSectorSize;
  source.DiskSize = static_cast<int64_t>(size.Bytes);
  source.Read = [fd](int64_t offset, uint32_t length, void* buffer) {
    return ReadAtOffset(fd, offset, length, buffer);
  };
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CLinuxPlatform::GetDriveLayout(PlatformHandle device, void* buffer, uint32_t size) {
  PartitionTableSource source;
  if (WIN32_ERROR error = TableSource(device, source)) return error;
  std::vector<uint8_t> layout;
  if (WIN32_ERROR error = ReadDriveLayout(source, layout)) return error;
  return CopyDriveLayout(layout, buffer, size);
}

WIN32_ERROR CLinuxPlatform::GetPartitionInfo(PlatformHandle device, PARTITION_INFORMATION_EX& info) {
  PartitionTableSource source;
  if (WIN32_ERROR error = TableSource(device, source)) return error;
  return ReadWholeDiskPartitionInfo(source, info);
}

}  // namespace kestrand
