#include "driver/kestrand.h"

#include <cstdlib>
#include <new>

#include "common/text_format.h"
#include "disk/disk.h"
#include "platform/platform.h"

namespace kestrand {

namespace {

enum class State { Switch, Name, Number, Usage };
enum class AwaitedName { OutputFile, DatabaseFile };

bool StartsLikeSwitch(const char* arg) { return arg[0] == '-' || arg[0] == '/'; }

// The letter of a two-character switch, or 0 when the argument is not one.
char SwitchLetter(const char* arg) {
  if (!StartsLikeSwitch(arg) || arg[1] == '\0' || arg[2] != '\0') return 0;
  switch (arg[1]) {
    case 'f': case 'F': return 'f';
    case 'a': case 'A': return 'a';
    case 'd': case 'D': return 'd';
    case 'l': case 'L': return 'l';
    case '?': case 'h': case 'H': return '?';
    default: return 0;
  }
}

}  // namespace

CKestrand::CKestrand() { SavedErrorMode = ThePlatform().SetErrorMode(0); }

// Members go in reverse order: the drive letters, the mount points, then the
// disks with everything they own.
CKestrand::~CKestrand() { ThePlatform().SetErrorMode(SavedErrorMode); }

// The command line: the switch grammar and its four parsing states.

ParseOutcome ParseCommandLine(int argc, const char* const* argv, CommandLine& line, FILE* err) {
  State state = State::Switch;
  AwaitedName awaited = AwaitedName::OutputFile;
  int index = 1;
  while (index < argc) {
    const char* arg = argv[index] != nullptr ? argv[index] : "";
    switch (state) {
      case State::Switch:
        switch (SwitchLetter(arg)) {
          case 0:
            PrintNarrow(err, "KESTRAND ERROR : Unrecognized switch: %s\n\n", arg);
            line.ExitStatus = -1;
            state = State::Usage;
            break;
          case '?':
            state = State::Usage;
            break;
          case 'a':
            line.Analysis = true;
            ++index;
            break;
          case 'f':
            if (line.OutputFileFlag) {
              PrintNarrow(err, "KESTRAND ERROR : Cannot specify multiple output files\n\n");
              state = State::Usage;
            } else {
              line.OutputFileFlag = true;
              awaited = AwaitedName::OutputFile;
              ++index;
              state = State::Name;
            }
            break;
          case 'l':
            awaited = AwaitedName::DatabaseFile;
            ++index;
            state = State::Name;
            break;
          case 'd':
            if (index == argc - 1) {
              PrintNarrow(err, "KESTRAND ERROR : Disk number not specified\n\n");
              state = State::Usage;
            } else {
              ++index;
              state = State::Number;
            }
            break;
        }
        break;

      case State::Name:
        if (StartsLikeSwitch(arg)) {
          if (awaited == AwaitedName::OutputFile) {
            state = State::Switch;  // the name lapses; parse this as a switch
          } else {
            PrintNarrow(err, "KESTRAND ERROR : missing file name.\n\n");
            state = State::Usage;
          }
        } else if (arg[0] == '\0') {
          state = State::Usage;
        } else {
          if (awaited == AwaitedName::OutputFile) {
            line.OutputFileName = arg;
          } else {
            line.DatabaseFileName = arg;
            line.HasDatabaseFile = true;
          }
          ++index;
          state = State::Switch;
        }
        break;

      case State::Number:
        if (StartsLikeSwitch(arg)) {
          PrintNarrow(err, "KESTRAND ERROR : Invalid disk number: %s\n\n", arg);
          state = State::Usage;
        } else if (arg[0] == '\0') {
          state = State::Usage;
        } else {
          uint32_t* cell = new (std::nothrow) uint32_t;
          if (cell == nullptr) {
            PrintNarrow(err, "KESTRAND ERROR : Out of memory: %s\n", line.OutputFileName);
            line.ExitStatus = -1;
            return ParseOutcome::Stop;
          }
          // Text that is not a number reads as 0, as atoi gives it.
          *cell = static_cast<uint32_t>(std::atoi(arg));
          line.DiskNumbers.Append(cell);
          ++index;
          state = State::Switch;
        }
        break;

      case State::Usage:
        return ParseOutcome::ShowUsage;
    }
  }
  return state == State::Usage ? ParseOutcome::ShowUsage : ParseOutcome::Run;
}

void PrintUsage(FILE* out) {
  static const char* const kLines[] = {
      "kestrand [/f | -f file] [/a | -a] [/d | -d disk #] [/l | -l file] [/? | -? | /h | -h]\n\n",
      "Where:\n",
      "/f | -f file\n",
      "\t\tspecifies the filename for the output file,\n",
      "\t\tdefaults to kestrand.txt. If used along with\n",
      "\t\tthe -a option, the default file name is\n",
      "\t\tkestrandanalysis.xml\n\n",
      "/a | -a \n",
      "\t\tperforms analysis of dynamic disk database\n\n",
      "/d | -d disk # \n",
      "\t\tspecifies the disk number. If not specified,\n",
      "\t\tall disks available on the system are included\n",
      "\t\tin the output.\n\n",
      "/l | -l file\n",
      "\t\tspecifies the filename for the LDM file to analyze.\n\n",
      "/? | -? | /h | -h \n",
      "\t\tprints this message\n",
  };
  for (const char* text : kLines) WriteBytes(out, text);
}

}  // namespace kestrand
