// The ten real dynamic disk images of the shared test data, unpacked once per
// test process into a temporary folder, and repaired copies of them whose
// private headers name the tables of contents at sectors 2 and 2045 of the
// LDM area (where the loader then finds the config header).
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kestrand::test {

class RealImages {
 public:
  // The unpacked images, or nullptr with `skipReason` set when the shared
  // test data or tar/xz are not there.
  static const RealImages* Get(std::string& skipReason);

  static constexpr uint64_t kImageBytes = 52428800;
  static constexpr uint64_t kLdmAreaBytes = 1048576;
  static constexpr uint64_t kLdmAreaOffset = kImageBytes - kLdmAreaBytes;

  // Image file names in the order of their LDM disk names Disk1..Disk10.
  static const std::vector<std::string>& Names();

  std::string Path(const std::string& name) const { return folder_ + "/" + name; }
  // A repaired copy of the image, made on first use.
  std::string RepairedPath(const std::string& name) const;
  // The last 1 MiB of the image (or of its repaired copy) as a database file.
  std::string DatabaseFile(const std::string& name, bool repaired = false) const;

  ~RealImages();

 private:
  RealImages() = default;
  std::string folder_;
  bool owned_ = true;  // removed with the object
};

// A test of the real images; skipped where they cannot be unpacked.
class RealImagesTestBase : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string skipReason;
    images_ = RealImages::Get(skipReason);
    if (!images_) GTEST_SKIP() << skipReason;
  }

  const RealImages* images_ = nullptr;
};

}  // namespace kestrand::test
