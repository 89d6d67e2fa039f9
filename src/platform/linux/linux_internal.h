// What the files of the Linux platform share with each other and with their
// tests: small reads of sysfs and /proc, the disk listing, errno turned into
// Windows codes, positioned reads, the mount table, the host facts of uname,
// and the device-mapper devices of LDM volumes. The rest of the tool sees
// only linux_platform.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/linux_platform.h"

namespace kestrand {

// ---- sysfs and /proc text (linux_disks.cpp)

// Reads at most `maxBytes` of a file into `out`; returns 0 or the errno.
// Kernel files report no size, so this reads until the end.
int ReadTextFile(const std::string& path, std::string& out, size_t maxBytes = 4096);

// The first line of a small attribute file, without its line end; false when
// the file cannot be read.
bool ReadAttribute(const std::string& path, std::string& value);

// Names in a directory (without "." and ".."); returns 0 or the errno.
int ListDirectory(const std::string& path, std::vector<std::string>& names);

// Whether something exists at the path (following links).
bool PathExists(const std::string& path);

// ---- the disk listing (linux_disks.cpp)

// 0 with the disks in number order, or the Win32 code of an unreadable
// <sys>/block.
WIN32_ERROR ListWholeDisks(const std::string& sysRoot, const std::string& devRoot,
                           std::vector<ListedDisk>& disks);

// Parses a sysfs "MAJ:MIN" device number.
bool ParseDeviceNumber(const std::string& text, uint32_t& major, uint32_t& minor);

// ---- errno and positioned reads (linux_raw_reads.cpp)

// errno values turned into the codes a Windows caller would have seen: the
// Win32 error of a failed open or query, the NTSTATUS of a failed raw read.
WIN32_ERROR Win32FromErrno(int error);
NTSTATUS NtStatusFromErrno(int error);

// Reads up to `length` bytes at `offset`, retrying short transfers until the
// end of the file or device. A read that starts at or beyond the end gives
// STATUS_END_OF_FILE; one that runs past the end transfers what there is and
// succeeds, leaving the rest of the buffer as it was.
NTSTATUS ReadAtOffset(int fd, int64_t offset, uint32_t length, void* buffer, uint32_t* transferred = nullptr);

// ---- the mount table of <proc>/self/mountinfo (linux_volumes.cpp)

struct MountInfoEntry {
  uint32_t Major = 0;
  uint32_t Minor = 0;
  std::string MountPoint;  // decoded
  std::string FsType;
  std::string Source;      // decoded, e.g. "/dev/sda1"
};

// Turns the kernel's octal escapes ("\040" for a blank) back into bytes.
std::string DecodeMountField(std::string_view field);

// Parses the whole table; malformed lines are skipped.
std::vector<MountInfoEntry> ParseMountInfo(std::string_view text);

// Groups the entries whose source is a block device by source, in the order
// of first appearance, each with its mount points in table order.
std::vector<VolumeMounts> VolumesFromMounts(const std::vector<MountInfoEntry>& entries,
                                            const std::function<bool(const MountInfoEntry&)>& isBlockSource);

// ---- host facts in the shape of the Windows answers, from uname (linux_host.cpp)

// The kernel release "6.1.0-18-amd64": up to three leading numbers separated
// by "." become major, minor and build (missing ones 0, values saturate at
// 2^32 - 1); everything after the last number taken, verbatim, becomes the
// service pack text ("-18-amd64").
OsVersion ParseKernelRelease(std::string_view release);

// uname's machine name as a wProcessorArchitecture code: x86_64 9 (AMD64),
// i386 to i686 0 (x86), ia64 6, aarch64 12 (ARM64), anything else 0xFFFF.
uint16_t ArchitectureFromMachine(std::string_view machine);

// ---- device-mapper devices of LDM volumes (linux_dm_names.cpp)
// The Linux LDM tools give each such device the uuid
// "LDM-<volume name>-<volume GUID>", the GUID in lowercase 8-4-4-4-12 form,
// and a name that appears under <dev>/mapper.

// The GUID as 36 lowercase characters without braces.
std::string GuidToLowerText(const GUID& guid);

// Whether a device-mapper uuid names the LDM volume with this GUID text.
bool IsLdmVolumeUuid(const std::string& uuid, const std::string& guidText);

// Looks through <sys>/block/dm-*/dm/uuid; on a match gives the content of
// the same device's dm/name. False when no device answers to the GUID, and
// without looking when the mapper folder holds nothing but its control node.
bool FindLdmVolumeMapperName(const std::string& sysRoot, CMapperFolder& mapper, const GUID& volumeGuid,
                             std::string& mapperName);

}  // namespace kestrand
