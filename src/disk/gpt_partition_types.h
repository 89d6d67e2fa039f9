// The GPT partition types the reports name, and the two that make a GPT disk
// dynamic.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace kestrand {

// {5808C8AA-7E8F-42E0-85D2-E1E90434CFB3}
inline constexpr GUID GPT_TYPE_LDM_METADATA = {0x5808C8AA, 0x7E8F, 0x42E0,
                                               {0x85, 0xD2, 0xE1, 0xE9, 0x04, 0x34, 0xCF, 0xB3}};
// {AF9B60A0-1431-4F62-BC68-3311714A69AD}
inline constexpr GUID GPT_TYPE_LDM_DATA = {0xAF9B60A0, 0x1431, 0x4F62,
                                           {0xBC, 0x68, 0x33, 0x11, 0x71, 0x4A, 0x69, 0xAD}};

// The name of a GPT partition type ("Basic data", "LDM data", ..., "Unknown"
// for a type not in the table). 0, or 8 when the copy cannot be made.
uint32_t GetGptPartitionTypeName(const GUID& type, std::u16string& name);

// What a GPT report shows for a type: its name, or its GUID text when the
// type is not one we know.
uint32_t GetGptPartitionTypeText(const GUID& type, std::u16string& text);

}  // namespace kestrand
