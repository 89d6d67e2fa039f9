#include "support/loop_device.h"

#include <cstdio>
#include <cstdlib>

#ifndef _WIN32
#include <unistd.h>
#endif

namespace kestrand::test {

namespace {

std::string RunAndRead(const std::string& command) {
  std::string out;
#ifndef _WIN32
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[256];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) out += buffer;
  if (pclose(pipe) != 0) out.clear();
#else
  (void)command;
#endif
  while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
  return out;
}

}  // namespace

LoopDevice::LoopDevice(const std::string& image) {
  device_ = RunAndRead("losetup -r -f --show '" + image + "' 2>/dev/null");
  if (device_.rfind("/dev/", 0) != 0) device_.clear();
}

LoopDevice::~LoopDevice() {
  if (device_.empty()) return;
  const std::string detach = "losetup -d '" + device_ + "' >/dev/null 2>&1";
  if (std::system(detach.c_str()) != 0) std::fprintf(stderr, "could not detach %s\n", device_.c_str());
}

bool LoopDevice::Available(std::string& reason) {
#ifdef _WIN32
  reason = "loop devices are a Linux facility";
  return false;
#else
  if (geteuid() != 0) {
    reason = "attaching loop devices needs root";
    return false;
  }
  if (std::system("losetup -f >/dev/null 2>&1") != 0) {
    reason = "this machine has no free loop device (losetup -f failed)";
    return false;
  }
  return true;
#endif
}

}  // namespace kestrand::test
