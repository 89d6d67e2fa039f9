// A disk image attached read-only as a loop device for the length of a test.
#pragma once

#include <string>
#include <vector>

namespace kestrand::test {

class LoopDevice {
 public:
  // Attaches `image` read-only; Attached() tells whether it worked.
  explicit LoopDevice(const std::string& image);
  ~LoopDevice();
  LoopDevice(const LoopDevice&) = delete;
  LoopDevice& operator=(const LoopDevice&) = delete;

  bool Attached() const { return !device_.empty(); }
  const std::string& Device() const { return device_; }

  // Whether this machine lets us attach loop devices, with the reason if not.
  static bool Available(std::string& reason);

  // The disk number the tool gives each device now (its position in the
  // host's listing of whole disks), -1 for one not listed. Other programs'
  // loop devices shift the numbers, so a test names its own disks by these.
  static std::vector<long> DiskNumbers(const std::vector<std::string>& devices);

 private:
  std::string device_;
};

}  // namespace kestrand::test
