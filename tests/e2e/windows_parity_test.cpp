// The Windows build of the tool, run under wine, against this build on the
// same input: command-line messages, usage and exit status, and both reports
// of the database of every real disk image, byte for byte apart from the
// facts of the host and the line ends of the text (CR LF on Windows).
#ifndef _WIN32

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/golden.h"
#include "support/real_images.h"
#include "support/run_binary.h"

namespace kestrand::test {
namespace {

// wine on the PATH, or "" when it is not installed.
std::string FindWine() {
  const char* path = std::getenv("PATH");
  std::string folders = path != nullptr ? path : "";
  for (size_t start = 0; start <= folders.size();) {
    size_t end = folders.find(':', start);
    if (end == std::string::npos) end = folders.size();
    const std::string candidate = folders.substr(start, end - start) + "/wine";
    if (end > start && access(candidate.c_str(), X_OK) == 0) return candidate;
    start = end + 1;
  }
  return "";
}

// The name of a database file given to a run, in the run's folder: the tool
// reads an absolute path after -l as a switch.
const char kDatabase[] = "ldm.bin";

// What one run left: its streams, status and every file it wrote.
struct Outcome {
  ProcessResult Process;
  std::map<std::string, std::string> Files;
};

Outcome Collect(ProcessResult process, const TempDir& dir) {
  Outcome outcome{std::move(process), {}};
  for (const auto& entry : std::filesystem::directory_iterator(dir.Path()))
    if (entry.path().filename() != kDatabase)
      outcome.Files[entry.path().filename().string()] = ReadFileBytes(entry.path().string());
  return outcome;
}

// A fresh folder for one run, holding a copy of `database` when one is given.
void PrepareFolder(const TempDir& dir, const std::string& database) {
  if (!database.empty()) std::filesystem::copy_file(database, dir.File(kDatabase));
}

// Windows text with CR LF as LF. A line feed without its carriage return is
// marked, so that it shows as a difference where it occurs.
std::string FromCrLf(const std::string& text) {
  std::string lf;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) lf += "[LF without CR]";
    lf += text[i];
  }
  return lf;
}

// Standard error without wine's own diagnostics ("0024:err:winediag:...",
// "wine: failed to ..."), which a loaded machine without a display can
// print around any program; the tool's own messages never look like that.
std::string WithoutWineDiagnostics(const std::string& text) {
  std::string kept;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    end = end == std::string::npos ? text.size() : end + 1;
    const std::string line = text.substr(start, end - start);
    const bool threadPrefix = line.size() > 4 && line[4] == ':' && line.find_first_not_of("0123456789abcdef") == 4;
    const std::string rest = threadPrefix ? line.substr(5) : line;
    const bool wine = rest.rfind("err:", 0) == 0 || rest.rfind("fixme:", 0) == 0 || rest.rfind("warn:", 0) == 0 ||
                      rest.rfind("wine: ", 0) == 0;
    if (!wine) kept += line;
    start = end;
  }
  return kept;
}

// The command line as a trace shows it.
std::string Shown(const std::vector<std::string>& args) {
  std::string shown = "kestrand";
  for (const std::string& arg : args) shown += " '" + arg + "'";
  return shown;
}

bool IsXml(const std::string& bytes) { return bytes.rfind("<?xml", 0) == 0; }

void ExpectSameOutcome(const Outcome& linuxRun, const Outcome& windowsRun) {
  EXPECT_EQ(windowsRun.Process.ExitStatus, linuxRun.Process.ExitStatus);
  EXPECT_EQ(MaskHostSections(FromCrLf(windowsRun.Process.Out)), MaskHostSections(linuxRun.Process.Out));
  EXPECT_EQ(FromCrLf(WithoutWineDiagnostics(windowsRun.Process.Err)), linuxRun.Process.Err);
  ASSERT_EQ(windowsRun.Files.size(), linuxRun.Files.size());
  for (const auto& [name, bytes] : linuxRun.Files) {
    SCOPED_TRACE(name);
    ASSERT_EQ(windowsRun.Files.count(name), 1u);
    const std::string& windowsBytes = windowsRun.Files.at(name);
    if (IsXml(bytes)) {
      // One line, no line ends to convert.
      EXPECT_EQ(MaskHostBranches(windowsBytes), MaskHostBranches(bytes));
    } else {
      EXPECT_EQ(MaskHostSections(FromCrLf(windowsBytes)), MaskHostSections(bytes));
    }
  }
}

class WindowsParity : public ::testing::Test {
 protected:
  void SetUp() override {
    wine_ = FindWine();
    if (wine_.empty()) GTEST_SKIP() << "wine is not installed, so the Windows build cannot be run";
    if (!FileExists(KESTRAND_WINDOWS_BINARY))
      GTEST_SKIP() << "no Windows build at " << KESTRAND_WINDOWS_BINARY
                   << " (cross-build it with cmake/mingw-w64.cmake into build-windows)";
    // Of wine's own diagnostics only its errors, which a normal run has none
    // of; with the .NET and HTML runtimes left out a fresh prefix asks nothing.
    setenv("WINEDEBUG", "-all,err+all", 1);
    setenv("WINEDLLOVERRIDES", "mscoree,mshtml=", 0);
  }

  Outcome RunLinux(const std::vector<std::string>& args, const std::string& database = "") const {
    TempDir dir;
    PrepareFolder(dir, database);
    return Collect(RunKestrandBinary(args, dir.Path()), dir);
  }

  Outcome RunWindows(const std::vector<std::string>& args, const std::string& database = "") const {
    TempDir dir;
    PrepareFolder(dir, database);
    std::vector<std::string> wineArgs{KESTRAND_WINDOWS_BINARY};
    wineArgs.insert(wineArgs.end(), args.begin(), args.end());
    return Collect(RunProcess(wine_, wineArgs, dir.Path()), dir);
  }

  std::string wine_;
};

struct CommandLineCase {
  std::vector<std::string> Args;
  int Status;
};

TEST_F(WindowsParity, CommandLinesGiveTheSameMessagesUsageAndStatus) {
  const CommandLineCase lines[] = {
      {{"-?"}, 0},
      {{"/H"}, 0},
      {{"-x"}, 255},
      {{""}, 255},
      {{"-a", "/z"}, 255},
      {{"-f", "a.txt", "-f", "b.txt"}, 0},
      {{"-d"}, 0},
      {{"-d", "-a"}, 0},
      {{"/L", "/f"}, 0},
      {{"-l", "db.bin", "-d", "0"}, 0},
      {{"-f", "no/such/folder/out.txt", "-l", "missing.bin"}, 255},
      // A database file that is not there: the same NTSTATUS on both.
      {{"-l", "missing.bin"}, 0},
      {{"-f", "out.txt", "-l", "missing.bin"}, 0},
      {{"-a", "-l", "missing.bin"}, 0},
      {{"-f", "-l", "missing.bin"}, 0},
  };
  for (const CommandLineCase& line : lines) {
    SCOPED_TRACE(Shown(line.Args));
    const Outcome linuxRun = RunLinux(line.Args);
    const Outcome windowsRun = RunWindows(line.Args);
    EXPECT_EQ(linuxRun.Process.ExitStatus, line.Status);
    EXPECT_EQ(windowsRun.Process.ExitStatus, line.Status);
    ExpectSameOutcome(linuxRun, windowsRun);
  }
}

// `wine kestrand.exe` examines the wine host: its volumes and drive letters
// come through the Windows volume calls (wine's disk listing finds no disk).
TEST_F(WindowsParity, LiveRunUnderWineReportsTheWineHost) {
  const Outcome windowsRun = RunWindows({});
  ASSERT_EQ(windowsRun.Process.ExitStatus, 0) << windowsRun.Process.Err;
  EXPECT_EQ(WithoutWineDiagnostics(windowsRun.Process.Err), "");
  EXPECT_TRUE(windowsRun.Files.empty());
  const std::string text = FromCrLf(windowsRun.Process.Out);
  EXPECT_EQ(text.find("[LF without CR]"), std::string::npos);
  EXPECT_NE(text.find("             Version: "), std::string::npos);
  EXPECT_NE(text.find("\t\\\\?\\Volume{"), std::string::npos) << text;
  EXPECT_NE(text.find("\t\tC:\\\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\tC: = \\Device\\"), std::string::npos) << text;
}

struct ImageCase {
  std::string Name;
  bool Repaired;
};

void PrintTo(const ImageCase& image, std::ostream* out) {
  *out << image.Name << (image.Repaired ? " repaired" : " as found");
}

class WindowsParityOnImages : public WindowsParity, public ::testing::WithParamInterface<ImageCase> {
 protected:
  void SetUp() override {
    WindowsParity::SetUp();
    if (IsSkipped()) return;
    std::string reason;
    images_ = RealImages::Get(reason);
    if (images_ == nullptr) GTEST_SKIP() << reason;
  }
  const RealImages* images_ = nullptr;
};

TEST_P(WindowsParityOnImages, BothReportsOfTheDatabaseAreTheSame) {
  const std::string database = images_->DatabaseFile(GetParam().Name, GetParam().Repaired);
  ASSERT_EQ(std::filesystem::file_size(database), RealImages::kLdmAreaBytes);
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"-l", kDatabase, "-a", "-f", "report.xml"},
        std::vector<std::string>{"-l", kDatabase, "-f", "report.txt"}}) {
    SCOPED_TRACE(Shown(args));
    const Outcome linuxRun = RunLinux(args, database);
    ASSERT_EQ(linuxRun.Files.size(), 1u) << linuxRun.Process.Err;
    ExpectSameOutcome(linuxRun, RunWindows(args, database));
  }
}

std::vector<ImageCase> AllImageCases() {
  std::vector<ImageCase> cases;
  for (const std::string& name : RealImages::Names())
    for (bool repaired : {false, true}) cases.push_back({name, repaired});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Images, WindowsParityOnImages, ::testing::ValuesIn(AllImageCases()),
                         [](const ::testing::TestParamInfo<ImageCase>& info) {
                           std::string name = info.param.Name.substr(0, info.param.Name.find('.'));
                           for (char& c : name)
                             if (c == '-') c = '_';
                           return name + (info.param.Repaired ? "_repaired" : "_as_found");
                         });

}  // namespace
}  // namespace kestrand::test

#endif  // _WIN32
