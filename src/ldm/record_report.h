// Every decoded config record of a config copy, in the text report and as
// the Records branch of the XML report; the per-type attribute sets are
// shared with the virtual structure.
#pragma once

#include <cstdint>
#include <cstdio>

namespace kestrand {

class CONFIG_WRAPPER;
class CKestrandTreeNode;
class CAttributeAdder;
class LDM_RECORD;

// One block of lines per group of the copy's group list that holds a decoded
// record. 87 without stream.
uint32_t PrintRecordSection(FILE* stream, const CONFIG_WRAPPER& config);

// The Records element under `parent` with one Record element per group that
// holds a decoded record. 87 without parent, 8 without memory, or the tree's
// error.
uint32_t AddRecordsToReport(const CONFIG_WRAPPER& config, CKestrandTreeNode* parent);

// A record's own attributes, as the virtual structure shows them (by the
// record's class, which its entry's type made); a volume's name is asked of
// the host.
void AddRecordTypeAttributes(CAttributeAdder& add, const LDM_RECORD& record);

}  // namespace kestrand
