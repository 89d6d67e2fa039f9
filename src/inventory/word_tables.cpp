#include "inventory/word_tables.h"

#include <string>

#include "common/last_error.h"
#include "common/text_format.h"
#include "platform/platform.h"

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

}  // namespace kestrand
