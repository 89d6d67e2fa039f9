// The ten real dynamic disk images of the shared test data, unpacked once per
// test process into a temporary folder, and repaired copies of them whose
// private headers name the tables of contents at sectors 2 and 2045 of the
// LDM area (where the loader then finds the config header).
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/ldm_builder.h"
#include "support/run_binary.h"

namespace kestrand::test {

class RealImages {
 public:
  static constexpr uint64_t kImageBytes = 52428800;
  static constexpr uint64_t kLdmAreaOffset = kImageBytes - 1048576;

  // Image file names in the order of their LDM disk names Disk1..Disk10.
  static const std::vector<std::string>& Names() {
    static const std::vector<std::string> names = {
        "ldm-2003r2-simple-1.img",   "ldm-2003r2-spanned-1.img", "ldm-2003r2-spanned-2.img",
        "ldm-2003r2-striped-1.img",  "ldm-2003r2-striped-2.img", "ldm-2003r2-mirrored-1.img",
        "ldm-2003r2-mirrored-2.img", "ldm-2003r2-raid5-1.img",   "ldm-2003r2-raid5-2.img",
        "ldm-2003r2-raid5-3.img"};
    return names;
  }

  // The unpacked images, or nullptr with `skipReason` set when the shared
  // test data or tar/xz are not there.
  static const RealImages* Get(std::string& skipReason) {
    namespace fs = std::filesystem;
    static std::string reason;
    static const std::unique_ptr<RealImages> images = []() -> std::unique_ptr<RealImages> {
      std::unique_ptr<RealImages> found(new RealImages());
      const fs::path tarball = fs::path(KESTRAND_SHARED_DIR) / "testdata" / "ldm-2003r2.tar.xz";
      std::error_code error;
      if (const char* given = std::getenv("KESTRAND_REAL_IMAGES")) {
        // Unpacked already (the Windows build's suite runs under wine, without tar).
        found->folder_ = given;
        reason = std::string("no real images in KESTRAND_REAL_IMAGES=") + given;
      } else if (!fs::exists(tarball, error)) {
        reason = "no shared test images at " + tarball.string();
      } else {
        found->unpacked_ = std::make_unique<TempDir>();
        found->folder_ = found->unpacked_->Path();
        const std::string command = "tar -xJf '" + tarball.string() + "' -C '" + found->folder_ + "' >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) reason = "tar or xz could not unpack " + tarball.string();
      }
      if (found->folder_.empty() || !fs::exists(found->Path(Names()[0]), error)) return nullptr;
      return found;
    }();
    skipReason = reason;
    return images.get();
  }

  std::string Path(const std::string& name) const { return folder_ + "/" + name; }

  // A repaired copy of the image, made on first use: a sparse copy, then the
  // three private header copies rewritten in place (sector 6 of the disk and
  // sectors 1856 and 2047 of the LDM area).
  std::string RepairedPath(const std::string& name) const {
    const std::string repaired = folder_ + "/repaired-" + name;
    if (std::filesystem::exists(repaired)) return repaired;
    const std::string copy = "cp --sparse=always '" + Path(name) + "' '" + repaired + "'";
    if (std::system(copy.c_str()) != 0) return Path(name);
    std::fstream file(repaired, std::ios::binary | std::ios::in | std::ios::out);
    for (uint64_t offset : {uint64_t{6 * 512}, kLdmAreaOffset + 1856 * 512, kLdmAreaOffset + 2047 * 512}) {
      std::vector<uint8_t> sector(512);
      file.seekg(static_cast<std::streamoff>(offset));
      file.read(reinterpret_cast<char*>(sector.data()), 512);
      RenameTocSectors(sector, 2, 2045);
      file.seekp(static_cast<std::streamoff>(offset));
      file.write(reinterpret_cast<const char*>(sector.data()), 512);
    }
    return repaired;
  }

  // The last 1 MiB of the image (or of its repaired copy) as a database file.
  std::string DatabaseFile(const std::string& name, bool repaired = false) const {
    const std::string file = folder_ + "/" + (repaired ? "repaired-" : "") + name + ".ldm";
    if (std::filesystem::exists(file)) return file;
    const std::string image = ReadFileBytes(Path(name));
    if (image.size() != kImageBytes) return file;
    std::vector<uint8_t> area(image.begin() + kLdmAreaOffset, image.end());
    // Repaired as RepairedPath repairs the whole image: the private header copies of the area.
    for (uint64_t sector : {1856, 2047}) {
      std::vector<uint8_t> header(area.begin() + sector * 512, area.begin() + (sector + 1) * 512);
      if (repaired) RenameTocSectors(header, 2, 2045);
      std::copy(header.begin(), header.end(), area.begin() + sector * 512);
    }
    WriteFileBytes(file, std::string(area.begin(), area.end()));
    return file;
  }

 private:
  RealImages() = default;
  std::string folder_;
  std::unique_ptr<TempDir> unpacked_;  // the folder, when unpacked here
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
