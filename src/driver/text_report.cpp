// The frame of the text report: banners, host section titles, per-disk
// headings and the order of the sections.
#include <cstdlib>

#include "common/text_format.h"
#include "disk/disk.h"
#include "driver/kestrand.h"

namespace kestrand {

namespace {

#define KESTRAND_RULE u"-----------------------------------------------------------------------"
static_assert(sizeof(KESTRAND_RULE) / sizeof(char16_t) - 1 == 71);

constexpr const char16_t* kDiskBannerHead = u"\n\n" KESTRAND_RULE u"\n";
constexpr const char16_t* kHostBannerHead = u"\n" KESTRAND_RULE u"\n";
constexpr const char16_t* kBannerTail = KESTRAND_RULE u"\n\n";

#undef KESTRAND_RULE

void PrintHostTitle(FILE* stream, const char16_t* format, const char16_t* title) {
  PrintWide(stream, kHostBannerHead);
  PrintWide(stream, format, title);
  PrintWide(stream, kBannerTail);
}

}  // namespace

uint32_t CKestrand::PrintSystemSummary(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  // The sections' codes are not used: each shows what it could find.
  PrintHostTitle(stream, u"%50s\n", u"Computer Name and OS Version");
  PrintSystemInformation(stream);
  PrintHostTitle(stream, u"%42s\n", u"Mount Points");
  PrintMountPoints(stream);
  PrintHostTitle(stream, u"%52s\n", u"Drive Letter Usage, Drive Type");
  PrintDriveLetters(stream);
  return 0;
}

uint32_t CKestrand::PrintDisks(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  // With a stream the host sections always give 0.
  PrintSystemSummary(stream);
  for (CPtrListIterator<CDisk> it(Disks); !it.AtEnd(); it.Advance()) {
    CDisk* disk = it.Current();
    if (disk->DiskNumberKnown()) {
      PrintWide(stream, kDiskBannerHead);
      PrintWide(stream, u"%28s %lu Summary\n", u"Disk", disk->DiskNumber());
      PrintWide(stream, kBannerTail);
      // The disk's section shows its own failures; its code is not used.
      disk->PrintText(stream);
      continue;
    }
    char16_t* path = nullptr;
    uint32_t code = disk->GetDevicePath(path);
    if (code != 0) return code;
    PrintWide(stream, kDiskBannerHead);
    PrintWide(stream, u"%28s %s Physical Summary\n", u"Disk", path ? path : u"UNKNOWN");
    PrintWide(stream, kBannerTail);
    PrintWide(stream, u"\tERROR: Failed to get device number\n");
    std::free(path);
  }
  return 0;
}

uint32_t CKestrand::PrintDisk(FILE* stream, uint32_t diskNumber) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  PrintWide(stream, kDiskBannerHead);
  PrintWide(stream, u"%32s %lu Summary\n", u"Disk", diskNumber);
  PrintWide(stream, kBannerTail);
  bool found = false;
  for (CPtrListIterator<CDisk> it(Disks); !it.AtEnd(); it.Advance()) {
    CDisk* disk = it.Current();
    if (disk->DiskNumberKnown() && disk->DiskNumber() == diskNumber) {
      // The disk's section shows its own failures; its code is not used.
      disk->PrintText(stream);
      found = true;
    }
  }
  if (!found) PrintWide(stream, u"\t ERROR: Disk does not exist\n");
  return 0;
}

}  // namespace kestrand
