// The switch grammar of the command line and its four parsing states.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "common/ptr_list.h"

namespace kestrand {

struct CommandLine {
  std::string OutputFileName = "kestrandanalysis.xml";
  bool OutputFileFlag = false;
  bool Analysis = false;
  bool HasDatabaseFile = false;
  std::string DatabaseFileName;
  CPtrList<uint32_t> DiskNumbers{true};  // in the order given, duplicates kept
  int ExitStatus = 0;
};

enum class ParseOutcome {
  Run,        // go on with the run
  ShowUsage,  // the usage text, then end with CommandLine::ExitStatus
  Stop,       // end at once with CommandLine::ExitStatus
};

// Parses argv[1..argc-1]. Error messages go to `err`.
ParseOutcome ParseCommandLine(int argc, const char* const* argv, CommandLine& line, FILE* err);

// The usage text, one line per write, to `out`.
void PrintUsage(FILE* out);

}  // namespace kestrand
