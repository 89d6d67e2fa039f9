// The disks of the run: every disk interface the platform lists, numbered,
// sorted and probed; or the one disk that stands for a saved database file.
#include "driver/disk_set.h"

#include <new>
#include <vector>

#include "disk/disk.h"
#include "driver/kestrand.h"
#include "ldm/record_tree.h"
#include "platform/platform.h"

namespace kestrand {

namespace {

// SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX: no dialog for a drive
// without medium.
constexpr uint32_t kQuietErrorMode = 0x8001;

// The device number of an interface, or false when its device cannot be
// opened or numbered (held exclusively elsewhere, missing rights, ...).
bool QueryDeviceNumber(const std::u16string& devicePath, uint32_t& number) {
  PlatformHandle device = kInvalidHandle;
  if (ThePlatform().OpenDevice(devicePath, device) != 0) return false;
  WIN32_ERROR error = ThePlatform().GetDeviceNumber(device, number);
  ThePlatform().CloseDevice(device);
  return error == 0;
}

// A numbered disk for one interface; nullptr when it is to be left out.
CDisk* NewNumberedDisk(CKestrand* owner, const DiskInterface& disk) {
  auto* result = new CDisk();
  result->SetOwner(owner);
  uint32_t number = 0;
  if (!result->SetInstanceId(disk.InstanceId.c_str()) || !result->SetDevicePath(disk.DevicePath.c_str()) ||
      !QueryDeviceNumber(disk.DevicePath, number)) {
    delete result;
    return nullptr;
  }
  result->SetDiskNumber(number);
  result->SetDiskNumberKnown(true);
  return result;
}

}  // namespace

uint32_t CKestrand::EnumerateDisks() {
  CPlatform& platform = ThePlatform();
  platform.SetErrorMode(platform.SetErrorMode(0) | kQuietErrorMode);

  std::vector<DiskInterface> interfaces;
  WIN32_ERROR ended = platform.ListDiskInterfaces(interfaces);
  for (const DiskInterface& disk : interfaces) {
    // An interface without an instance id is skipped.
    if (disk.InstanceId.empty()) continue;
    if (CDisk* numbered = NewNumberedDisk(this, disk)) Disks.Append(numbered);
  }
  // Stopped early: the disks found so far stay, unsorted and unprobed.
  if (ended != ERROR_NO_MORE_ITEMS_CODE) return ended;

  Disks.StableSort([](const CDisk* a, const CDisk* b) { return a->DiskNumber() < b->DiskNumber(); });
  uint32_t volumes = EnumerateVolumes();
  uint32_t driveLetters = EnumerateDriveLetters();
  uint32_t probe = 0;
  for (CPtrListIterator<CDisk> it(Disks); !it.AtEnd(); it.Advance())
    if (it.Current()->DiskNumberKnown()) probe = it.Current()->Initialize();
  if (driveLetters != 0) return driveLetters;
  if (volumes != 0) return volumes;
  return probe;
}

uint32_t CKestrand::OpenLdmFile(const char* fileName) {
  LiveDisks = false;
  auto* disk = new (std::nothrow) CLdmFileDisk();
  if (!disk) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  uint32_t code = disk->Initialize(fileName, this);
  if (code == 0)
    Disks.Append(disk);
  else
    delete disk;
  return code;
}

CDiskSet::~CDiskSet() { FreeRecordTree(RecordTree); }

uint32_t BuildDiskSet(CDiskSet* diskSet, CKestrand* kestrand) {
  if (!diskSet || !kestrand) return ERROR_INVALID_PARAMETER_CODE;
  for (CPtrListIterator<CDisk> it(kestrand->Disks); !it.AtEnd(); it.Advance())
    if (it.Current()->DiskNumberKnown()) diskSet->Disks.Append(it.Current());
  return BuildRecordTree(&diskSet->Disks, &diskSet->RecordTree);
}

}  // namespace kestrand
