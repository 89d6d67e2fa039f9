// Device-mapper devices that stand for LDM volumes. The Linux LDM tools give
// each such device the uuid "LDM-<volume name>-<volume GUID>", the GUID in
// lowercase 8-4-4-4-12 form, and a name that appears under <dev>/mapper.
#pragma once

#include <string>

#include "platform/types.h"

namespace kestrand {

// The GUID as 36 lowercase characters without braces.
std::string GuidToLowerText(const GUID& guid);

// Whether a device-mapper uuid names the LDM volume with this GUID text.
bool IsLdmVolumeUuid(const std::string& uuid, const std::string& guidText);

// Looks through <sys>/block/dm-*/dm/uuid; on a match gives the content of
// the same device's dm/name. False when no device answers to the GUID.
bool FindLdmVolumeMapperName(const std::string& sysRoot, const GUID& volumeGuid, std::string& mapperName);

}  // namespace kestrand
