// The two programs under comparison, pointed at the images of one pack: the
// tool run in-process through the image platform, and ldmtool's command line.
#pragma once

#include <string>
#include <vector>

#include "pack_generator.h"

namespace kestrand::bench {

// Runs the whole tool over the pack's images (disk numbers 0 to N-1). With
// `analysis` the command line is "-a -f <xmlPath>", else it is empty (the
// text report). Text goes to `textPath`, messages to `errPath`. An absolute
// `xmlPath` makes its directory the working directory (the tool would take a
// name beginning with "/" for a switch). Returns the tool's exit status, or 1
// when a stream cannot be opened.
int RunToolOnPack(const PackFacts& facts, bool analysis, const std::string& xmlPath, const std::string& textPath,
                  const std::string& errPath);

// "ldmtool -d <image> ... <command...>".
std::vector<std::string> LdmtoolCommand(const PackFacts& facts, const std::vector<std::string>& command);

}  // namespace kestrand::bench
