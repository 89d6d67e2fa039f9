// Sanity checks of a generated pack: ldmtool finds one disk group with
// exactly the generated volumes, of the generated kinds; the tool's XML
// shows them under VirtualStructure with no MissingDisk, and its text report
// lists every volume in the Dynamic Disk Information table.
#pragma once

#include <string>
#include <vector>

#include "pack_generator.h"

namespace kestrand::bench {

// Runs both programs with outputs in `directory`; returns what failed.
// Without `xml` the XML report is not made (a full config database makes a
// document too large for the machine).
std::vector<std::string> CheckPack(const PackFacts& facts, const std::string& directory, bool xml);

}  // namespace kestrand::bench
