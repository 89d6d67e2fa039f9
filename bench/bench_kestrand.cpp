// The benchmark driver.
//   kestrand_bench time DIR [--reps R] [--budget-ms M] [--mem-limit-mb L]
//                            [--analysis no]
//       times "kestrand -a", "kestrand" (text) and "ldmtool ... show diskgroup"
//       on the pack in DIR, each run in its own child process (the tool's
//       address space capped at L MiB), after one gather-and-merge run that
//       times the two phases; prints one tab-separated row of medians (a run
//       slower than M ms is not repeated). "--analysis no" leaves out -a.
//   kestrand_bench header
//       the names of the columns of "time".
//   kestrand_bench check DIR [--xml yes|no]
//       the sanity checks of the pack (ldmtool and the tool's text and, unless
//       left out, its XML).
//   kestrand_bench run DIR analysis|text OUT
//       one in-process run without a child, for profilers; the XML (analysis)
//       or the text report goes to OUT.
//   kestrand_bench floor
//       the peak memory of an empty child and of /bin/true, the floor under
//       every figure.
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "child_measure.h"
#include "pack_checks.h"
#include "pack_generator.h"
#include "phases.h"
#include "tool_runs.h"

namespace kestrand::bench {
namespace {

struct Options {
  int Reps = 3;
  double BudgetMs = 5000;
  double MemLimitMb = 6144;
  bool Analysis = true;
};

Measurement Repeat(const Options& options, int& reps, const std::function<Measurement()>& once) {
  std::vector<Measurement> runs{once()};
  while (static_cast<int>(runs.size()) < options.Reps && runs.front().WallMs <= options.BudgetMs &&
         runs.front().ExitCode == 0)
    runs.push_back(once());
  reps = static_cast<int>(runs.size());
  return Median(runs);
}

// The tool in a child whose address space is capped, so that a run that
// would exhaust the machine fails alone.
Measurement ToolRun(const PackFacts& facts, const Options& options, bool analysis) {
  return MeasureInChild([&] {
    const rlim_t bytes = static_cast<rlim_t>(options.MemLimitMb * 1024 * 1024);
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_AS, &limit);
    return RunToolOnPack(facts, analysis, "/dev/null", "/dev/null", "/dev/null");
  });
}

// "ok", or why the figures of a run do not count.
const char* Verdict(const Measurement& m, const Options& options) {
  if (m.ExitCode != 0) return "failed";
  // Allocations beyond the cap fail; the tool may then go on with less.
  if (m.MaxRssKb / 1024.0 > 0.9 * options.MemLimitMb) return "capped";
  return "ok";
}

void PrintMeasurement(const Measurement& m, int reps, const char* verdict) {
  std::printf("\t%.1f\t%.1f\t%.1f\t%d\t%s", m.WallMs, m.CpuMs, m.MaxRssKb / 1024.0, reps, verdict);
}

void PrintHeader() {
  std::printf("disks\tblocks\tused\trecords\tvolumes\tsubdisks\tgather_ms\tmerge_ms\ttree_nodes");
  for (const char* run : {"a", "t", "l"})
    std::printf("\t%s_ms\t%s_cpu_ms\t%s_mib\t%s_reps\t%s_verdict", run, run, run, run, run);
  std::printf("\n");
}

int Time(const PackFacts& facts, const Options& options) {
  const Phases phases = MeasurePhases(facts);
  std::printf("%u\t%u\t%u\t%u\t%u\t%u\t%.1f\t%.1f\t%llu", facts.Disks, facts.NumBlocks, facts.UsedBlocks,
              facts.Records, facts.Volumes, facts.Subdisks, phases.GatherMs, phases.MergeMs,
              static_cast<unsigned long long>(phases.TreeNodes));
  bool ok = phases.GatherMs >= 0;
  int reps = 0;
  if (options.Analysis) {
    const Measurement analysis = Repeat(options, reps, [&] { return ToolRun(facts, options, true); });
    PrintMeasurement(analysis, reps, Verdict(analysis, options));
    ok = ok && analysis.ExitCode == 0;
  } else {
    std::printf("\t-\t-\t-\t0\tskipped");
  }
  const Measurement text = Repeat(options, reps, [&] { return ToolRun(facts, options, false); });
  PrintMeasurement(text, reps, Verdict(text, options));
  const auto argv = LdmtoolCommand(facts, {"show", "diskgroup", facts.PackGuid});
  const Measurement ldmtool =
      Repeat(options, reps, [&] { return MeasureProgram(argv, "/dev/null", "/dev/null"); });
  PrintMeasurement(ldmtool, reps, ldmtool.ExitCode == 0 ? "ok" : "failed");
  std::printf("\n");
  return ok && text.ExitCode == 0 && ldmtool.ExitCode == 0 ? 0 : 1;
}

int Floor() {
  const Measurement empty = Median({MeasureInChild([] { return 0; }), MeasureInChild([] { return 0; }),
                                    MeasureInChild([] { return 0; })});
  const Measurement truth = Median({MeasureProgram({"true"}, "/dev/null", "/dev/null"),
                                    MeasureProgram({"true"}, "/dev/null", "/dev/null"),
                                    MeasureProgram({"true"}, "/dev/null", "/dev/null")});
  std::printf("empty child: %.1f ms, %.1f MiB; /bin/true: %.1f ms, %.1f MiB\n", empty.WallMs,
              empty.MaxRssKb / 1024.0, truth.WallMs, truth.MaxRssKb / 1024.0);
  return 0;
}

int Usage() {
  std::fprintf(stderr,
               "usage: kestrand_bench time DIR [--reps R] [--budget-ms M] [--mem-limit-mb L] [--analysis no]\n"
               "       kestrand_bench header\n"
               "       kestrand_bench check DIR [--xml yes|no]\n"
               "       kestrand_bench run DIR analysis|text OUT\n"
               "       kestrand_bench floor\n");
  return 2;
}

int Main(int argc, char** argv) {
  if (argc < 2) return Usage();
  const std::string command = argv[1];
  if (command == "floor") return Floor();
  if (command == "header") {
    PrintHeader();
    return 0;
  }
  if (argc < 3) return Usage();
  PackFacts facts;
  const std::string problem = ReadPackFacts(argv[2], facts);
  if (!problem.empty()) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    return 1;
  }
  if (command == "time") {
    Options options;
    for (int i = 3; i + 1 < argc; i += 2) {
      const std::string name = argv[i];
      if (name == "--reps") options.Reps = std::max(1, std::atoi(argv[i + 1]));
      else if (name == "--budget-ms") options.BudgetMs = std::atof(argv[i + 1]);
      else if (name == "--mem-limit-mb") options.MemLimitMb = std::atof(argv[i + 1]);
      else if (name == "--analysis") options.Analysis = std::string(argv[i + 1]) != "no";
      else return Usage();
    }
    return Time(facts, options);
  }
  if (command == "check") {
    const bool xml = !(argc == 5 && std::string(argv[3]) == "--xml" && std::string(argv[4]) == "no");
    if (argc != 3 && argc != 5) return Usage();
    const std::vector<std::string> failures = CheckPack(facts, argv[2], xml);
    for (const auto& failure : failures) std::printf("FAIL %s: %s\n", argv[2], failure.c_str());
    if (failures.empty()) std::printf("ok   %s\n", argv[2]);
    return failures.empty() ? 0 : 1;
  }
  if (command == "run" && argc == 5) {
    const bool analysis = std::string(argv[3]) == "analysis";
    return RunToolOnPack(facts, analysis, argv[4], analysis ? "/dev/null" : argv[4], "/dev/stderr");
  }
  return Usage();
}

}  // namespace
}  // namespace kestrand::bench

int main(int argc, char** argv) { return kestrand::bench::Main(argc, argv); }
