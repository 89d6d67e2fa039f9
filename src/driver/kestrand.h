// The run driver: the command line with its switch grammar, the run object
// (everything gathered about the host and its disks, and the operations that
// print and write the reports from it), and one run of the tool from the
// command line to the exit status.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "common/containers.h"
#include "inventory/volumes.h"

namespace kestrand {

class CDisk;
class CKestrandTreeNode;

// What the command line asked for.
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

using MountPathList = CPtrList<CWideString>;

// The run object.
class CKestrand {
 public:
  static constexpr uint32_t kMapBuckets = 17;

  CKestrand();
  ~CKestrand();
  CKestrand(const CKestrand&) = delete;
  CKestrand& operator=(const CKestrand&) = delete;

  // Gathering.
  uint32_t EnumerateDisks();
  uint32_t OpenLdmFile(const char* fileName);
  uint32_t EnumerateVolumes();
  uint32_t EnumerateDriveLetters();

  // Text report.
  uint32_t PrintSystemSummary(FILE* stream);
  uint32_t PrintDisks(FILE* stream);
  uint32_t PrintDisk(FILE* stream, uint32_t diskNumber);
  uint32_t PrintDynamicDiskInformation(FILE* stream);
  uint32_t PrintSystemInformation(FILE* stream);
  uint32_t PrintMountPoints(FILE* stream);
  uint32_t PrintDriveLetters(FILE* stream);

  // XML report.
  uint32_t WriteAnalysis(const char* fileName);
  uint32_t AddSystemInformation(CKestrandTreeNode* root);
  uint32_t AddMountPoints(CKestrandTreeNode* root);
  uint32_t AddDriveLetters(CKestrandTreeNode* root);

  CPtrList<CDisk> Disks{true};
  CStringMap<MountPathList> MountPoints{kMapBuckets};
  CStringMap<DRIVE_LETTER_INFO> DriveLetters{kMapBuckets};
  uint32_t SavedErrorMode = 0;
  bool LiveDisks = true;
};

// One run of the tool, from the command line to the exit status. `out` and
// `err` stand for standard output and standard error, so that tests can run
// the whole driver in-process.
int RunKestrand(int argc, const char* const* argv, FILE* out, FILE* err);

}  // namespace kestrand
