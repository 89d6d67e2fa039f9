// The benchmark driver.
//   kestrand_bench time DIR [--reps R] [--budget-ms M]
//       times "kestrand -a", "kestrand" (text) and "ldmtool ... show diskgroup"
//       on the pack in DIR, each run in its own child process; prints one
//       tab-separated row of medians (a run slower than M ms is not repeated).
//   kestrand_bench check DIR
//       the sanity checks of the pack (ldmtool and the tool's XML and text).
//   kestrand_bench run DIR analysis|text OUT
//       one in-process run without a child, for profilers; the XML (analysis)
//       or the text report goes to OUT.
//   kestrand_bench floor
//       the peak memory of an empty child and of /bin/true, the floor under
//       every figure.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "child_measure.h"
#include "pack_checks.h"
#include "pack_generator.h"
#include "tool_runs.h"

namespace kestrand::bench {
namespace {

struct Options {
  int Reps = 3;
  double BudgetMs = 20000;
};

Measurement Repeat(const Options& options, int& reps, const std::function<Measurement()>& once) {
  std::vector<Measurement> runs{once()};
  while (static_cast<int>(runs.size()) < options.Reps && runs.front().WallMs <= options.BudgetMs)
    runs.push_back(once());
  reps = static_cast<int>(runs.size());
  return Median(runs);
}

int Time(const PackFacts& facts, const Options& options) {
  int analysisReps = 0, textReps = 0, ldmtoolReps = 0;
  const Measurement analysis = Repeat(options, analysisReps, [&] {
    return MeasureInChild([&] { return RunToolOnPack(facts, true, "/dev/null", "/dev/null", "/dev/null"); });
  });
  const Measurement text = Repeat(options, textReps, [&] {
    return MeasureInChild([&] { return RunToolOnPack(facts, false, "", "/dev/null", "/dev/null"); });
  });
  const auto argv = LdmtoolCommand(facts, {"show", "diskgroup", facts.PackGuid});
  const Measurement ldmtool =
      Repeat(options, ldmtoolReps, [&] { return MeasureProgram(argv, "/dev/null", "/dev/null"); });
  std::printf("%u\t%u\t%u\t%u\t%u\t%u\t%.1f\t%.1f\t%.1f\t%d\t%.1f\t%.1f\t%.1f\t%d\t%.1f\t%.1f\t%.1f\t%d\t%d/%d/%d\n",
              facts.Disks, facts.NumBlocks, facts.UsedBlocks, facts.Records, facts.Volumes, facts.Subdisks,
              analysis.WallMs, analysis.CpuMs, analysis.MaxRssKb / 1024.0, analysisReps, text.WallMs, text.CpuMs,
              text.MaxRssKb / 1024.0, textReps, ldmtool.WallMs, ldmtool.CpuMs, ldmtool.MaxRssKb / 1024.0,
              ldmtoolReps, analysis.ExitCode, text.ExitCode, ldmtool.ExitCode);
  return analysis.ExitCode == 0 && text.ExitCode == 0 && ldmtool.ExitCode == 0 ? 0 : 1;
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
               "usage: kestrand_bench time DIR [--reps R] [--budget-ms M]\n"
               "       kestrand_bench check DIR\n"
               "       kestrand_bench run DIR analysis|text OUT\n"
               "       kestrand_bench floor\n");
  return 2;
}

int Main(int argc, char** argv) {
  if (argc < 2) return Usage();
  const std::string command = argv[1];
  if (command == "floor") return Floor();
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
      else return Usage();
    }
    return Time(facts, options);
  }
  if (command == "check") {
    const std::vector<std::string> failures = CheckPack(facts, argv[2]);
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
