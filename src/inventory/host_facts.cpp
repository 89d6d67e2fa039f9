#include "inventory/host_facts.h"

#include <cstdio>
#include <string>

#include "common/text_writer.h"
#include "inventory/word_tables.h"

namespace kestrand {

namespace {

// Both report forms carry the text form's name in these messages.
constexpr char16_t kNoNameSizeMessage[] =
    u"CKestrand::PrintSystemInformation() : Failed getting computer name size";
constexpr char16_t kNoNameMemoryMessage[] =
    u"CKestrand::PrintSystemInformation() : Failed allocating string";

constexpr uint32_t kNoComputerNameSize = 1;

uint32_t GatherComputerName(CWideString& place) {
  std::u16string name;
  WIN32_ERROR code = ThePlatform().GetComputerName(name);
  if (name.empty()) {
    PrintWide(stderr, u"%s\n", kNoNameSizeMessage);
    return kNoComputerNameSize;
  }
  if (code != 0) return code;
  if (!place.Assign(name.c_str())) {
    PrintWide(stderr, u"%s\n", kNoNameMemoryMessage);
    return ERROR_NOT_ENOUGH_MEMORY_CODE;
  }
  return 0;
}

// A failed query leaves the state absent; only a failed lookup stops.
uint32_t GatherClusterState(HostFacts& facts) {
  uint32_t state = 0;
  facts.ClusterQueryCode = ThePlatform().GetNodeClusterState(facts.ComputerName.Get(), state);
  if (facts.ClusterQueryCode != 0) return 0;
  return LookupClusterStateWord(state, facts.ClusterState);
}

}  // namespace

uint32_t GatherHostFacts(HostFacts& facts) {
  uint32_t code = GatherComputerName(facts.ComputerName);
  if (code != 0) return code;

  facts.Version = ThePlatform().GetVersion();

  // No matching product type is not an error: the text stays absent.
  code = BuildProductTypeText(facts.ProductTypes);
  if (code != 0 && code != ERROR_FILE_NOT_FOUND_CODE) return code;

  code = BuildSuitesText(facts.Suites);
  if (code != 0) return code;

  ProcessorInfo processor = ThePlatform().GetProcessorInfo();
  facts.ProcessorCount = processor.Count;
  code = LookupProcessorWord(processor.Architecture, facts.Processor);
  if (code != 0) return code;

  return GatherClusterState(facts);
}

}  // namespace kestrand
