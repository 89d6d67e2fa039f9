// Every decoded config record of a config copy, in the text report and as
// the Records branch of the XML report; the per-type attribute sets are
// shared with the virtual structure.
#pragma once

#include <cstdint>
#include <cstdio>

namespace kestrand {

class CONFIG_WRAPPER;
class CKestrandTreeNode;
class VOLUME_RECORD;
class PLEX_RECORD;
class SUBDISK_RECORD;
class DISK_RECORD;
class PACK_RECORD;

// One block of lines per group of the copy's group list that holds a decoded
// record. 87 without stream.
uint32_t PrintRecordSection(FILE* stream, const CONFIG_WRAPPER& config);

// The Records element under `parent` with one Record element per group that
// holds a decoded record. 87 without parent, 8 without memory, or the tree's
// error.
uint32_t AddRecordsToReport(const CONFIG_WRAPPER& config, CKestrandTreeNode* parent);

// A record's own attributes, added to `element`. 87 without element or
// record; otherwise the first failure of the tree, or 0.
uint32_t AddVolumeAttributes(CKestrandTreeNode* element, const VOLUME_RECORD* record);
uint32_t AddPlexAttributes(CKestrandTreeNode* element, const PLEX_RECORD* record);
uint32_t AddSubdiskAttributes(CKestrandTreeNode* element, const SUBDISK_RECORD* record);
uint32_t AddDiskAttributes(CKestrandTreeNode* element, const DISK_RECORD* record);
uint32_t AddPackAttributes(CKestrandTreeNode* element, const PACK_RECORD* record);

}  // namespace kestrand
