#include "platform/linux/text_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace kestrand {

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

}  // namespace kestrand
