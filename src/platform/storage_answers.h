// The geometry and alignment answers that platforms without the Windows
// storage queries build from a disk's size and sector sizes.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace kestrand {

// The usual convention for disks without real cylinders: 255 tracks per
// cylinder and 63 sectors per track unless the driver gives its own, and as
// many whole cylinders as fit.
constexpr uint32_t kDefaultTracksPerCylinder = 255;
constexpr uint32_t kDefaultSectorsPerTrack = 63;

DISK_GEOMETRY_EX MakeDiskGeometry(int64_t diskSize, uint32_t bytesPerSector, bool removable,
                                  uint32_t tracksPerCylinder = kDefaultTracksPerCylinder,
                                  uint32_t sectorsPerTrack = kDefaultSectorsPerTrack);

// `firstAlignedOffset` is the byte offset of the first logical sector that
// starts a physical sector (what Linux calls the alignment offset). Windows
// reports the complement instead: how far into its physical sector logical
// sector 0 lies.
STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR MakeAlignmentDescriptor(uint32_t logicalSectorSize,
                                                            uint32_t physicalSectorSize,
                                                            uint32_t firstAlignedOffset);

}  // namespace kestrand
