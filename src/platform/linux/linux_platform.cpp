#include "platform/linux/linux_platform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>

namespace kestrand {
namespace {
// The process error mode has no meaning on Linux; it is kept so that callers
// get back what they set.
uint32_t gErrorMode = 0;
}  // namespace

CLinuxPlatform::CLinuxPlatform(std::string sysRoot, std::string procRoot, std::string devRoot)
    : sysRoot_(std::move(sysRoot)), procRoot_(std::move(procRoot)), devRoot_(std::move(devRoot)) {}

CLinuxPlatform::~CLinuxPlatform() {
  for (const auto& [handle, path] : openPaths_) close(static_cast<int>(handle));
}

uint32_t CLinuxPlatform::SetErrorMode(uint32_t mode) {
  const uint32_t previous = gErrorMode;
  gErrorMode = mode;
  return previous;
}

int CLinuxPlatform::OpenReadOnly(const std::string& path, PlatformHandle& handle) {
  handle = kInvalidHandle;
  if (path.find('\0') != std::string::npos) return ENOENT;
  int fd = -1;
  do {
    fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return errno;
  // A directory opens fine on Linux, but it is not something to read.
  struct stat st;
  int error = fstat(fd, &st) != 0 ? errno : 0;
  if (error == 0 && S_ISDIR(st.st_mode)) error = EISDIR;
  if (error != 0) {
    close(fd);
    return error;
  }
  handle = static_cast<PlatformHandle>(fd);
  openPaths_[handle] = path;
  return 0;
}

int CLinuxPlatform::DescriptorOf(PlatformHandle handle) const {
  return openPaths_.count(handle) != 0 ? static_cast<int>(handle) : -1;
}

void CLinuxPlatform::Forget(PlatformHandle handle) {
  if (openPaths_.erase(handle) != 0) close(static_cast<int>(handle));
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
  ListWholeDisks(sysRoot_, devRoot_, disks_);
  return find();
}

const ListedDisk* CLinuxPlatform::DiskNumbered(uint32_t number) {
  if (number >= disks_.size()) ListWholeDisks(sysRoot_, devRoot_, disks_);
  return number < disks_.size() ? &disks_[number] : nullptr;
}

CPlatform& NativePlatform() {
  static CLinuxPlatform platform;
  return platform;
}

}  // namespace kestrand
