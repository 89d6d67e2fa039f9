#include "inventory/host_facts.h"

#include <cstdio>
#include <string>

#include "common/text_format.h"
#include "common/xml_writer.h"
#include "driver/kestrand.h"

namespace kestrand {

namespace {

struct CodeWord {
  uint32_t Code;
  const char16_t* Word;
};

constexpr CodeWord kProcessorWords[] = {
    {0, u"x86"}, {6, u"IA64"}, {8, u"MSIL"}, {9, u"AMD64"}};
constexpr CodeWord kClusterStateWords[] = {
    {0, u"Not Installed"}, {1, u"Not Configured"}, {3, u"Not running"}, {19, u"Running"}};
constexpr CodeWord kDriveTypeWords[] = {{1, u"NoRootDir"}, {2, u"Removable"}, {3, u"Fixed"},
                                        {4, u"Remote"},    {5, u"CDRom"},     {6, u"RamDisk"}};

// Every word carries its separator, so that matches can simply be appended;
// the last separator is cut once the text is complete.
constexpr CodeWord kProductTypeWords[] = {
    {1, u"Workstation, "}, {3, u"Server, "}, {2, u"Domain Controller, "}};
constexpr CodeWord kSuiteWords[] = {
    {0x0004, u"Backoffice, "},     {0x0400, u"Blade, "},
    {0x0080, u"Datacenter, "},     {0x0002, u"Enterprise, "},
    {0x0200, u"Personal, "},       {0x0001, u"Small Business, "},
    {0x0020, u"Small Business Restricted, "}, {0x0010, u"Terminal, "}};

template <size_t N>
uint32_t Lookup(const CodeWord (&table)[N], uint32_t code, const char16_t* otherWord,
                CWideString& place) {
  const char16_t* word = otherWord;
  for (const CodeWord& row : table) {
    if (row.Code == code) {
      word = row.Word;
      break;
    }
  }
  return place.Assign(word) ? 0 : ERROR_NOT_ENOUGH_MEMORY_CODE;
}

// Appends the word of every row the host matches, in table order.
template <size_t N, class Matches>
uint32_t CollectWords(const CodeWord (&table)[N], Matches matches, CWideString& text) {
  for (const CodeWord& row : table)
    if (matches(row.Code) && !text.Append(row.Word)) return GetLastErrorCode();
  return 0;
}

// Stores `text` without its trailing ", " in `place`.
uint32_t StoreWithoutLastSeparator(const CWideString& text, CWideString& place) {
  std::u16string cut(text.Get(), WideLength(text.Get()));
  cut.resize(cut.size() >= 2 ? cut.size() - 2 : 0);
  return place.Assign(cut.c_str()) ? 0 : ERROR_NOT_ENOUGH_MEMORY_CODE;
}

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

// The section's caption and icon, then the facts.
uint32_t AddHostAttributes(CKestrandTreeNode* node, const HostFacts& facts) {
  const OsVersion& version = facts.Version;
  return CAttributeAdder(node)
      .Display("System Information", "3")
      .Wide("ComputerName", facts.ComputerName.Get())
      .Number("MajorVersion", version.Major)
      .Number("MinorVersion", version.Minor)
      .Number("BuildNumber", version.Build)
      .Wide("CSDVersion", version.ServicePack)
      .Wide("ProductTypes", facts.ProductTypes.Get())
      .Wide("Suites", facts.Suites.Get())
      .Wide("Processor", facts.Processor.Get())
      .Number("NumberOfProcessors", facts.ProcessorCount)
      .Wide("ClusterState", facts.ClusterState.Get())
      .Wide("KestrandVersion", kKestrandVersion)
      .Code();
}

}  // namespace

uint32_t LookupProcessorWord(uint32_t architecture, CWideString& place) {
  return Lookup(kProcessorWords, architecture, u"UNKNOWN", place);
}

uint32_t LookupClusterStateWord(uint32_t state, CWideString& place) {
  return Lookup(kClusterStateWords, state, u"Unknown", place);
}

uint32_t LookupDriveTypeWord(uint32_t driveType, CWideString& place) {
  return Lookup(kDriveTypeWords, driveType, u"Unknown", place);
}

uint32_t BuildProductTypeText(CWideString& place) {
  CWideString text;
  uint32_t code = CollectWords(
      kProductTypeWords,
      [](uint32_t type) { return ThePlatform().IsProductType(static_cast<uint8_t>(type)); }, text);
  if (code != 0) return code;
  if (WideLength(text.Get()) == 0) return ERROR_FILE_NOT_FOUND_CODE;
  return StoreWithoutLastSeparator(text, place);
}

uint32_t BuildSuitesText(CWideString& place) {
  CWideString text;
  uint32_t code = CollectWords(
      kSuiteWords, [](uint32_t bit) { return ThePlatform().HasSuite(static_cast<uint16_t>(bit)); },
      text);
  if (code != 0) return code;
  if (WideLength(text.Get()) == 0) return place.Assign(u"") ? 0 : ERROR_NOT_ENOUGH_MEMORY_CODE;
  return StoreWithoutLastSeparator(text, place);
}

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

// The host section of both reports: computer name, version, product type,
// suites, processor, cluster state and the tool's version.

uint32_t CKestrand::PrintSystemInformation(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  HostFacts facts;
  uint32_t code = GatherHostFacts(facts);
  if (code != 0) return code;

  const OsVersion& version = facts.Version;
  PrintWide(stream, u"%20s: %s\n", u"Computer Name", facts.ComputerName.Get());
  PrintWide(stream, u"%20s: %d.%d Build %d %s\n", u"Version", version.Major, version.Minor,
            version.Build, version.ServicePack);
  PrintWide(stream, u"%20s: %s\n", u"Product Type", facts.ProductTypes.Get());
  PrintWide(stream, u"%20s: %s\n", u"Suites", facts.Suites.Get());
  PrintWide(stream, u"%20s: %s (%d CPU)\n", u"CPU Type", facts.Processor.Get(),
            facts.ProcessorCount);
  PrintWide(stream, u"%20s: %s\n", u"Cluster State", facts.ClusterState.Get());
  PrintWide(stream, u"%20s: %s\n", u"Kestrand Version", kKestrandVersion);
  return facts.ClusterQueryCode;
}

uint32_t CKestrand::AddSystemInformation(CKestrandTreeNode* root) {
  if (!root) return ERROR_INVALID_PARAMETER_CODE;
  HostFacts facts;
  uint32_t code = GatherHostFacts(facts);
  if (code != 0) return code;

  CKestrandTreeNode* node = root->AddChild("SystemInformation");
  if (!node) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  code = AddHostAttributes(node, facts);
  return code != 0 ? code : facts.ClusterQueryCode;
}

}  // namespace kestrand
