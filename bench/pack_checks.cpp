#include "pack_checks.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "child_measure.h"
#include "tool_runs.h"

namespace kestrand::bench {

namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The quoted strings of the JSON array that follows "key" in `json`.
std::vector<std::string> JsonArray(const std::string& json, const std::string& key) {
  std::vector<std::string> values;
  size_t at = json.find("\"" + key + "\"");
  if (at == std::string::npos) return values;
  const size_t open = json.find('[', at);
  const size_t close = json.find(']', open);
  if (open == std::string::npos || close == std::string::npos) return values;
  for (size_t start = json.find('"', open); start < close; start = json.find('"', start + 1)) {
    const size_t end = json.find('"', start + 1);
    if (end == std::string::npos || end > close) break;
    values.push_back(json.substr(start + 1, end - start - 1));
    start = end;
  }
  return values;
}

// The value of "key" : "value" in `json`.
std::string JsonString(const std::string& json, const std::string& key) {
  const size_t at = json.find("\"" + key + "\"");
  if (at == std::string::npos) return {};
  const size_t start = json.find('"', json.find(':', at));
  const size_t end = json.find('"', start + 1);
  return start == std::string::npos || end == std::string::npos ? std::string() : json.substr(start + 1, end - start - 1);
}

void LdmtoolChecks(const PackFacts& facts, const std::string& directory, std::vector<std::string>& failures) {
  const std::string out = (std::filesystem::path(directory) / "ldmtool.out").string();
  const std::string err = (std::filesystem::path(directory) / "ldmtool.err").string();
  if (MeasureProgram(LdmtoolCommand(facts, {"scan"}), out, err).ExitCode != 0) {
    failures.push_back("ldmtool scan failed: " + ReadAll(err));
    return;
  }
  const auto groups = JsonArray("\"groups\" : " + ReadAll(out), "groups");
  if (groups != std::vector<std::string>{facts.PackGuid}) failures.push_back("ldmtool scan: " + ReadAll(out));
  if (MeasureProgram(LdmtoolCommand(facts, {"show", "diskgroup", facts.PackGuid}), out, err).ExitCode != 0) {
    failures.push_back("ldmtool show diskgroup failed: " + ReadAll(err));
    return;
  }
  const std::string group = ReadAll(out);
  if (JsonArray(group, "volumes") != facts.VolumeNames) failures.push_back("ldmtool lists other volumes");
  if (JsonArray(group, "disks").size() != facts.Disks) failures.push_back("ldmtool lists another number of disks");
  // One volume of each kind.
  for (size_t i = 0; i < facts.VolumeNames.size() && i < 4; ++i) {
    MeasureProgram(LdmtoolCommand(facts, {"show", "volume", facts.PackGuid, facts.VolumeNames[i]}), out, err);
    const std::string type = JsonString(ReadAll(out), "type");
    if (type != facts.VolumeKinds[i])
      failures.push_back("ldmtool shows " + facts.VolumeNames[i] + " as \"" + type + "\", not " + facts.VolumeKinds[i]);
  }
}

void CheckLdmtool(const PackFacts& facts, const std::string& directory, std::vector<std::string>& failures) {
  const size_t before = failures.size();
  LdmtoolChecks(facts, directory, failures);
  if (failures.size() == before) {
    std::filesystem::remove(std::filesystem::path(directory) / "ldmtool.out");
    std::filesystem::remove(std::filesystem::path(directory) / "ldmtool.err");
  }
}

// Counts in the tool's XML, read in pieces (a large pack makes a document
// of gigabytes).
struct XmlCounts {
  std::map<std::string, size_t> RecordsByType;  // VirtualStructure elements by suffix
  std::vector<std::string> Volumes;             // names of the volume elements, in order
  size_t MissingDisks = 0;
  size_t NoValidDynamicDisks = 0;
  size_t FailedTests = 0;
  uint64_t Bytes = 0;
};

XmlCounts ScanXml(const std::string& path) {
  XmlCounts counts;
  std::ifstream in(path, std::ios::binary);
  const std::string records = "<Records _ElementDisplayName=\"";
  const std::map<std::string, size_t XmlCounts::*> markers{{"<MissingDisk", &XmlCounts::MissingDisks},
                                                          {"NoValidDynamicDisks", &XmlCounts::NoValidDynamicDisks},
                                                          {"Status=\"Failed\"", &XmlCounts::FailedTests}};
  constexpr size_t kChunk = 8 << 20;
  constexpr size_t kCarry = 256;  // longer than every pattern with its name
  std::string buffer;
  std::vector<char> chunk(kChunk);
  bool end = false;
  while (!end) {
    in.read(chunk.data(), static_cast<std::streamsize>(kChunk));
    const size_t got = static_cast<size_t>(in.gcount());
    end = got < kChunk;
    counts.Bytes += got;
    buffer.append(chunk.data(), got);
    // Matches starting before `limit` are complete; later ones wait for the next piece.
    const size_t limit = end ? buffer.size() : (buffer.size() > kCarry ? buffer.size() - kCarry : 0);
    for (size_t at = buffer.find(records); at != std::string::npos && at < limit; at = buffer.find(records, at + 1)) {
      const size_t start = at + records.size();
      const size_t close = buffer.find('"', start);
      if (close == std::string::npos) break;
      const std::string caption = buffer.substr(start, close - start);
      const size_t open = caption.rfind(" (");
      if (open == std::string::npos) continue;
      const std::string type = caption.substr(open + 2, caption.size() - open - 3);
      ++counts.RecordsByType[type];
      if (type == "Volume") counts.Volumes.push_back(caption.substr(0, open));
    }
    for (const auto& [marker, field] : markers)
      for (size_t at = buffer.find(marker); at != std::string::npos && at < limit; at = buffer.find(marker, at + 1))
        ++(counts.*field);
    buffer.erase(0, limit);
  }
  return counts;
}

void CheckToolXml(const PackFacts& facts, const std::string& directory, std::vector<std::string>& failures) {
  const std::string xml = (std::filesystem::absolute(directory) / "kestrand-check.xml").string();
  const std::string err = (std::filesystem::absolute(directory) / "kestrand-check.err").string();
  std::filesystem::remove(err);
  const Measurement run = MeasureInChild([&] { return RunToolOnPack(facts, true, xml, "/dev/null", err); });
  if (run.ExitCode != 0) {
    failures.push_back("kestrand -a exited with " + std::to_string(run.ExitCode));
    return;
  }
  const XmlCounts counts = ScanXml(xml);
  if (counts.Volumes != facts.VolumeNames) failures.push_back("VirtualStructure shows other volumes");
  const std::map<std::string, size_t> expected{{"Pack", 1},
                                               {"Volume", facts.Volumes},
                                               {"Plex", facts.Plexes},
                                               {"Subdisk", facts.Subdisks},
                                               {"Disk", facts.Subdisks}};  // every subdisk lies on a disk of its own plex
  if (counts.RecordsByType != expected) {
    std::ostringstream found;
    for (const auto& [type, count] : counts.RecordsByType) found << " " << type << "=" << count;
    failures.push_back("VirtualStructure holds" + found.str());
  }
  if (counts.MissingDisks != 0) failures.push_back(std::to_string(counts.MissingDisks) + " MissingDisk elements");
  if (counts.NoValidDynamicDisks != 0) failures.push_back("VirtualStructure says NoValidDynamicDisks");
  if (counts.FailedTests != 0) failures.push_back(std::to_string(counts.FailedTests) + " failed tests");
  const std::string messages = ReadAll(err);
  if (!messages.empty()) failures.push_back("kestrand -a wrote: " + messages.substr(0, 200));
  std::filesystem::remove(xml);
  std::filesystem::remove(err);
}

// The Dynamic Disk Information table: every volume, no subdisk on an
// "Unknown" disk.
void CheckToolText(const PackFacts& facts, const std::string& directory, std::vector<std::string>& failures) {
  const std::string text = (std::filesystem::absolute(directory) / "kestrand-check.txt").string();
  const Measurement run = MeasureInChild([&] { return RunToolOnPack(facts, false, "", text, "/dev/null"); });
  if (run.ExitCode != 0) {
    failures.push_back("kestrand exited with " + std::to_string(run.ExitCode));
    return;
  }
  std::ifstream in(text);
  std::string line;
  bool table = false;
  size_t rows = 0, unknown = 0;
  std::vector<std::string> volumes;
  while (std::getline(in, line)) {
    if (line.find("---------- LDM Volume Information ----------") != std::string::npos) table = true;
    if (!table) continue;
    std::istringstream fields(line);
    std::vector<std::string> words{std::istream_iterator<std::string>(fields), std::istream_iterator<std::string>()};
    if (words.size() != 12 || words[0] == "Volume" || words[0].rfind("===", 0) == 0) continue;
    ++rows;
    if (words[5] == "Unknown") ++unknown;
    if (volumes.empty() || volumes.back() != words[0]) volumes.push_back(words[0]);
  }
  std::filesystem::remove(text);
  if (volumes != facts.VolumeNames) failures.push_back("the text table shows other volumes");
  if (rows != facts.Subdisks) failures.push_back("the text table has " + std::to_string(rows) + " rows");
  if (unknown != 0) failures.push_back(std::to_string(unknown) + " subdisks on an Unknown disk");
}

}  // namespace

std::vector<std::string> CheckPack(const PackFacts& facts, const std::string& directory, bool xml) {
  std::vector<std::string> failures;
  CheckLdmtool(facts, directory, failures);
  CheckToolText(facts, directory, failures);
  if (xml) CheckToolXml(facts, directory, failures);
  return failures;
}

}  // namespace kestrand::bench
