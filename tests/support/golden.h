// Golden reports: files under tests/golden/expected that a report must equal
// byte for byte; with KESTRAND_REGENERATE_GOLDENS set in the environment the
// reports are written there instead (tests/golden/regenerate.sh).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/run_binary.h"

namespace kestrand::test {

inline std::string GoldenPath(const std::string& name) { return std::string(KESTRAND_GOLDEN_DIR) + "/" + name; }

// The text report with the bodies of the host sections replaced: they tell
// the host's name, version, volumes and drive letters.
inline std::string MaskHostSections(std::string text) {
  const std::string banner = std::string(71, '-') + "\n";
  for (const char* title : {"Computer Name and OS Version\n", "Mount Points\n", "Drive Letter Usage, Drive Type\n"}) {
    const size_t heading = text.find(title);
    if (heading == std::string::npos) continue;
    const size_t body = text.find(banner, heading);
    if (body == std::string::npos) continue;
    const size_t start = body + banner.size();
    size_t end = text.find("\n" + banner, start);
    if (end == std::string::npos) end = text.size();
    text.replace(start, end - start, "[host facts]");
  }
  return text;
}

// The XML report with the host branches replaced by empty elements.
inline std::string MaskHostBranches(std::string xml) {
  for (const std::string name : {"SystemInformation", "MountPoints", "DriveLetters"}) {
    const size_t start = xml.find("<" + name + " ");
    if (start == std::string::npos) continue;
    const size_t tagEnd = xml.find('>', start);
    if (tagEnd == std::string::npos) continue;
    size_t end = tagEnd + 1;
    if (xml[tagEnd - 1] != '/') {
      const size_t close = xml.find("</" + name + ">", tagEnd);
      if (close == std::string::npos) continue;
      end = close + name.size() + 3;
    }
    xml.replace(start, end - start, "<" + name + " [host facts]/>");
  }
  return xml;
}

// The lines of a unified diff of `expected` against `actual` (one hunk from
// the first differing line to the last, with three lines of context).
inline std::string UnifiedDiff(const std::string& name, const std::string& expected, const std::string& actual) {
  std::vector<std::string> a = SplitLines(expected), b = SplitLines(actual);
  size_t head = 0;
  while (head < a.size() && head < b.size() && a[head] == b[head]) ++head;
  size_t tailA = a.size(), tailB = b.size();
  while (tailA > head && tailB > head && a[tailA - 1] == b[tailB - 1]) --tailA, --tailB;
  size_t from = head >= 3 ? head - 3 : 0;
  size_t toA = std::min(a.size(), tailA + 3), toB = std::min(b.size(), tailB + 3);
  std::string out = "--- expected/" + name + "\n+++ actual/" + name + "\n@@ -" + std::to_string(from + 1) + "," +
                    std::to_string(toA - from) + " +" + std::to_string(from + 1) + "," + std::to_string(toB - from) +
                    " @@\n";
  for (size_t i = from; i < head; ++i) out += " " + a[i] + "\n";
  for (size_t i = head; i < tailA; ++i) out += "-" + a[i] + "\n";
  for (size_t i = head; i < tailB; ++i) out += "+" + b[i] + "\n";
  for (size_t i = tailA; i < toA; ++i) out += " " + a[i] + "\n";
  return out;
}

// Compares one report with its golden (or writes the golden).
inline void CheckGolden(const std::string& name, const std::string& actual) {
  const std::string path = GoldenPath(name);
  if (std::getenv("KESTRAND_REGENERATE_GOLDENS") != nullptr) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteFileBytes(path, actual);
    return;
  }
  ASSERT_TRUE(FileExists(path)) << "no golden " << path << " (tests/golden/regenerate.sh makes it)";
  const std::string expected = ReadFileText(path);
  if (expected != actual) ADD_FAILURE() << UnifiedDiff(name, expected, actual);
}

}  // namespace kestrand::test
