// Every decoded config record of a config copy, in the text report and as
// the Records branch of the XML report; the per-type attribute sets are
// shared with the virtual structure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrand {

class CONFIG_WRAPPER;
class CKestrandTreeNode;
class CAttributeAdder;
class LDM_RECORD;
struct CONFIG_HEADER;
struct RECORDS_AS_SHOWN;

// One block of lines per group of the copy's group list that holds a decoded
// record. 87 without stream.
uint32_t PrintRecordSection(FILE* stream, const CONFIG_WRAPPER& config);

// The Records element under `parent` with one Record element per group that
// holds a decoded record. 87 without parent, 8 without memory, or the tree's
// error.
uint32_t AddRecordsToReport(const CONFIG_WRAPPER& config, CKestrandTreeNode* parent);

// What the host answered when asked for a volume's device name.
struct VolumeNameAnswer {
  bool Found = false;
  std::u16string Name;
  bool operator==(const VolumeNameAnswer&) const = default;
};

// Asks the host for the device name of a volume record; any other record
// asks nothing and gets no name.
VolumeNameAnswer AskVolumeNameOf(const LDM_RECORD& record);

// A record's own attributes, as the virtual structure shows them (by the
// record's class, which its entry's type made); a volume shows `answer`.
void AddRecordTypeAttributes(CAttributeAdder& add, const LDM_RECORD& record, const VolumeNameAnswer& answer);

// Where a record's attributes from "Type" on lie in the bytes of its Records
// branch, and for a volume the place of the answer they were made with.
struct ShownAttributesSpan {
  static constexpr size_t kNoAnswer = static_cast<size_t>(-1);
  size_t Offset = 0;
  size_t Length = 0;
  size_t Answer = kNoAnswer;
};

// The attributes, from "Type" on, that the Records branches made so far
// show for their records. The virtual structure shows the same ones for a
// record, and copies them from here instead of formatting them again. What
// it takes in stays as it was taken, should a branch be made anew later.
class CShownRecordAttributes {
 public:
  // Takes in the Records branch made for `header`, if one was.
  void Add(const CONFIG_HEADER& header);
  // The attributes shown for `record`, when they were made with `answer`
  // (no answer for a record that is no volume); empty otherwise.
  std::string_view Find(const LDM_RECORD& record, const VolumeNameAnswer& answer) const;

 private:
  struct Made {
    const RECORDS_AS_SHOWN* Source;
    std::shared_ptr<const std::string> Bytes;
    std::vector<VolumeNameAnswer> Answers;
  };
  struct Place {
    const Made* From;
    ShownAttributesSpan Span;
  };
  std::vector<std::unique_ptr<Made>> made_;
  std::vector<std::pair<const LDM_RECORD*, Place>> places_;  // sorted by record
};

}  // namespace kestrand
