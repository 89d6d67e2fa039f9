// The run flow, from the command line to the exit status, and the tool's
// entry point. The core library holds this file without `main` (it is built
// with KESTRAND_LIBRARY), so that the test suites and benchmarks, which bring
// their own main, can run the whole driver in-process through RunKestrand.
#include <cstdio>

#include "common/text_format.h"
#include "disk/disk.h"
#include "driver/kestrand.h"

namespace kestrand {

namespace {

// The reports' codes are not looked at: the exit status is the command
// line's alone, and what a report meets is shown in the report itself.
void Report(CKestrand& kestrand, const CommandLine& line, FILE* text) {
  if (line.DiskNumbers.Count() == 0) {
    kestrand.PrintDisks(text);
    if (!line.Analysis) kestrand.PrintDynamicDiskInformation(text);
  } else {
    kestrand.PrintSystemSummary(text);
    for (CPtrListIterator<uint32_t> it(line.DiskNumbers); !it.AtEnd(); it.Advance())
      kestrand.PrintDisk(text, *it.Current());
  }
  // The disk numbers choose what the text shows; the XML covers every disk.
  if (line.Analysis) kestrand.WriteAnalysis(line.OutputFileName.c_str());
}

// Reset always gives 0.
void ResetDisks(CKestrand& kestrand) {
  for (CPtrListIterator<CDisk> it(kestrand.Disks); !it.AtEnd(); it.Advance()) {
    CDisk* disk = it.Current();
    if (disk->DiskNumberKnown()) disk->Reset();
  }
}

}  // namespace

// One run, from the command line to the exit status.
int RunKestrand(int argc, const char* const* argv, FILE* out, FILE* err) {
  CKestrand kestrand;
  CommandLine line;

  switch (ParseCommandLine(argc, argv, line, err)) {
    case ParseOutcome::ShowUsage:
      PrintUsage(out);
      return line.ExitStatus;
    case ParseOutcome::Stop:
      return line.ExitStatus;
    case ParseOutcome::Run:
      break;
  }

  if (line.HasDatabaseFile && line.DiskNumbers.Count() != 0) {
    PrintNarrow(err, "KESTRAND ERROR : cannot specify -l with -d.\n");
    return line.ExitStatus;
  }

  FILE* text = out;
  FILE* opened = nullptr;
  if (!line.Analysis && line.OutputFileFlag) {
    // Text mode, so each "\n" becomes the platform's line end.
    opened = std::fopen(line.OutputFileName.c_str(), "w");
    if (opened == nullptr) {
      PrintNarrow(err, "KESTRAND ERROR : Failed to open file: %s\n", line.OutputFileName);
      return -1;
    }
    text = opened;
  }

  // Gathering keeps every failure in the disk it concerns, where the reports
  // show it; its code does not change the exit status.
  if (line.HasDatabaseFile)
    kestrand.OpenLdmFile(line.DatabaseFileName.c_str());
  else
    kestrand.EnumerateDisks();

  Report(kestrand, line, text);
  ResetDisks(kestrand);

  // Whether the close succeeds does not change the exit status.
  if (opened != nullptr) std::fclose(opened);
  std::fflush(out);
  return line.ExitStatus;
}

}  // namespace kestrand

#ifndef KESTRAND_LIBRARY
int main(int argc, char** argv) { return kestrand::RunKestrand(argc, argv, stdout, stderr); }
#endif
