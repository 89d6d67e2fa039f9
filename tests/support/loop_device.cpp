#include "support/loop_device.h"

#include <cstdio>

#include "support/run_binary.h"

#ifndef _WIN32
#include <unistd.h>

#include "platform/linux/linux_internal.h"
#endif

namespace kestrand::test {

namespace {

// losetup with `args`: what it printed, without the line end, or "" when it failed.
std::string Losetup(const std::vector<std::string>& args) {
  const ProcessResult run = RunProcess("/sbin/losetup", args, ".");
  std::string out = run.ExitStatus == 0 ? run.Out : "";
  while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
  return out;
}

}  // namespace

LoopDevice::LoopDevice(const std::string& image) {
  // Another program attaching at the same moment may take the free device
  // first: try again.
  for (int attempt = 0; attempt < 5 && device_.empty(); ++attempt) {
    device_ = Losetup({"-r", "-f", "--show", image});
    if (device_.rfind("/dev/", 0) != 0) device_.clear();
  }
}

LoopDevice::~LoopDevice() {
  if (!device_.empty() && RunProcess("/sbin/losetup", {"-d", device_}, ".").ExitStatus != 0)
    std::fprintf(stderr, "could not detach %s\n", device_.c_str());
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
  if (Losetup({"-f"}).empty()) {
    reason = "this machine has no free loop device (losetup -f failed)";
    return false;
  }
  return true;
#endif
}

std::vector<long> LoopDevice::DiskNumbers(const std::vector<std::string>& devices) {
  std::vector<long> numbers(devices.size(), -1);
#ifndef _WIN32
  std::vector<ListedDisk> disks;
  ListWholeDisks("/sys", "/dev", disks);
  for (size_t i = 0; i < devices.size(); ++i)
    for (const ListedDisk& disk : disks)
      if (disk.DevicePath == devices[i]) numbers[i] = static_cast<long>(disk.Number);
#endif
  return numbers;
}

}  // namespace kestrand::test
