#include "support/real_images.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

#include "support/ldm_builder.h"
#include "support/run_binary.h"

namespace kestrand::test {

namespace fs = std::filesystem;

const std::vector<std::string>& RealImages::Names() {
  static const std::vector<std::string> names = {
      "ldm-2003r2-simple-1.img",   "ldm-2003r2-spanned-1.img", "ldm-2003r2-spanned-2.img",
      "ldm-2003r2-striped-1.img",  "ldm-2003r2-striped-2.img", "ldm-2003r2-mirrored-1.img",
      "ldm-2003r2-mirrored-2.img", "ldm-2003r2-raid5-1.img",   "ldm-2003r2-raid5-2.img",
      "ldm-2003r2-raid5-3.img"};
  return names;
}

const RealImages* RealImages::Get(std::string& skipReason) {
  static std::unique_ptr<RealImages> images;
  static std::string reason;
  static bool tried = false;
  if (!tried) {
    tried = true;
    std::unique_ptr<RealImages> found(new RealImages());
    const fs::path tarball = fs::path(KESTRAND_SHARED_DIR) / "testdata" / "ldm-2003r2.tar.xz";
    std::error_code error;
    if (const char* given = std::getenv("KESTRAND_REAL_IMAGES")) {
      // Unpacked already (the Windows build's suite runs under wine, without tar).
      found->folder_ = given;
      found->owned_ = false;
      reason = std::string("no real images in KESTRAND_REAL_IMAGES=") + given;
    } else if (!fs::exists(tarball, error)) {
      reason = "no shared test images at " + tarball.string();
    } else {
      std::random_device random;
      found->folder_ = (fs::temp_directory_path() / ("kestrand-images-" + std::to_string(random()))).string();
      fs::create_directories(found->folder_, error);
      const std::string command = "tar -xJf '" + tarball.string() + "' -C '" + found->folder_ + "' >/dev/null 2>&1";
      if (error || std::system(command.c_str()) != 0) reason = "tar or xz could not unpack " + tarball.string();
    }
    if (!found->folder_.empty() && fs::exists(found->Path(Names()[0]), error)) images = std::move(found);
  }
  skipReason = reason;
  return images.get();
}

RealImages::~RealImages() {
  std::error_code error;
  if (owned_ && !folder_.empty()) fs::remove_all(folder_, error);
}

std::string RealImages::RepairedPath(const std::string& name) const {
  const std::string repaired = folder_ + "/repaired-" + name;
  if (fs::exists(repaired)) return repaired;
  // A sparse copy, then the three private header copies rewritten in place:
  // sector 6 of the disk and sectors 1856 and 2047 of the LDM area.
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

std::string RealImages::DatabaseFile(const std::string& name, bool repaired) const {
  const std::string file = folder_ + "/" + (repaired ? "repaired-" : "") + name + ".ldm";
  if (fs::exists(file)) return file;
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

}  // namespace kestrand::test
