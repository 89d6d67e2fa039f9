#include "driver/kestrand.h"

#include "disk/disk.h"
#include "platform/platform.h"

namespace kestrand {

CKestrand::CKestrand() { SavedErrorMode = ThePlatform().SetErrorMode(0); }

// Members go in reverse order: the drive letters, the mount points, then the
// disks with everything they own.
CKestrand::~CKestrand() { ThePlatform().SetErrorMode(SavedErrorMode); }

}  // namespace kestrand
