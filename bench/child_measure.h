// Wall time, CPU time and peak resident memory of one run in a child
// process. The figures come from wait4, which gives the rusage of exactly
// the child waited for (RUSAGE_CHILDREN would fold every earlier child into
// its ru_maxrss).
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kestrand::bench {

struct Measurement {
  double WallMs = 0;
  double CpuMs = 0;    // user and system
  long MaxRssKb = 0;   // ru_maxrss: includes the pages the child inherited from the fork
  int ExitCode = -1;   // -1 when the child did not exit normally
};

// Forks; the child runs `body` and exits with its result.
Measurement MeasureInChild(const std::function<int()>& body);

// Forks and execs `argv` (argv[0] looked up in PATH) with standard output and
// standard error sent to the given files ("/dev/null" to discard).
Measurement MeasureProgram(const std::vector<std::string>& argv, const std::string& outPath,
                           const std::string& errPath);

// The median of the walls, CPU times and peaks of several measurements
// (each taken separately); the exit code is the first non-zero one.
Measurement Median(std::vector<Measurement> runs);

}  // namespace kestrand::bench
