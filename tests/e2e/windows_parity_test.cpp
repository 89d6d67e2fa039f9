// The Windows build of the tool, run under wine, against this build on the
// same input: both reports of the database of every real disk image, byte
// for byte apart from the facts of the host and the line ends of the text
// (CR LF on Windows). (The Windows build's own suite, under wine, checks its
// command-line messages and the reports of the made-up databases against the
// same goldens as this build.)
#ifndef _WIN32

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/golden.h"
#include "support/real_images.h"
#include "support/run_binary.h"

namespace kestrand::test {
namespace {

// The database file of a run, in the run's folder (an absolute path after
// -l would read as a switch).
const char kDatabase[] = "ldm.bin";

// Windows text with CR LF as LF; a line feed without its carriage return is
// marked where it occurs.
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
// "wine: failed to ..."), which a loaded machine without a display can print
// around any program; the tool's own messages never look like that.
std::string WithoutWineDiagnostics(const std::string& text) {
  std::istringstream lines(text);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    const bool thread = line.size() > 4 && line[4] == ':' && line.find_first_not_of("0123456789abcdef") == 4;
    const std::string rest = thread ? line.substr(5) : line;
    if (rest.rfind("err:", 0) && rest.rfind("fixme:", 0) && rest.rfind("warn:", 0) && rest.rfind("wine: ", 0))
      kept += line + (lines.eof() ? "" : "\n");
  }
  return kept;
}

// What one run left: its streams, status and every file it wrote.
struct Outcome {
  ProcessResult Process;
  std::map<std::string, std::string> Files;
};

class WindowsParity : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    for (std::string folder; wine_.empty() && std::getline(folders, folder, ':');)
      if (!folder.empty() && access((folder + "/wine").c_str(), X_OK) == 0) wine_ = folder + "/wine";
    if (wine_.empty()) GTEST_SKIP() << "wine is not installed, so the Windows build cannot be run";
    if (!FileExists(KESTRAND_WINDOWS_BINARY))
      GTEST_SKIP() << "no Windows build at " << KESTRAND_WINDOWS_BINARY
                   << " (cross-build it with cmake/mingw-w64.cmake into build-windows)";
    // Of wine's own diagnostics only its errors, which a normal run has none
    // of; with the .NET and HTML runtimes left out a fresh prefix asks nothing.
    setenv("WINEDEBUG", "-all,err+all", 1);
    setenv("WINEDLLOVERRIDES", "mscoree,mshtml=", 0);
  }

  // Runs the tool (`windows`: under wine) in a fresh folder holding a copy
  // of `database` when one is given.
  Outcome Run(bool windows, const std::vector<std::string>& args, const std::string& database = "") const {
    TempDir dir;
    if (!database.empty()) std::filesystem::copy_file(database, dir.File(kDatabase));
    std::vector<std::string> wineArgs{KESTRAND_WINDOWS_BINARY};
    wineArgs.insert(wineArgs.end(), args.begin(), args.end());
    Outcome outcome{windows ? RunProcess(wine_, wineArgs, dir.Path()) : RunKestrandBinary(args, dir.Path()), {}};
    for (const auto& entry : std::filesystem::directory_iterator(dir.Path()))
      if (entry.path().filename() != kDatabase)
        outcome.Files[entry.path().filename().string()] = ReadFileBytes(entry.path().string());
    return outcome;
  }

  // Both builds on the same command line; returns this build's outcome.
  Outcome ExpectSameOutcome(const std::vector<std::string>& args, const std::string& database = "") const {
    std::string shown = "kestrand";
    for (const std::string& arg : args) shown += " '" + arg + "'";
    SCOPED_TRACE(shown);
    const Outcome mine = Run(false, args, database), windows = Run(true, args, database);
    EXPECT_EQ(windows.Process.ExitStatus, mine.Process.ExitStatus);
    EXPECT_EQ(MaskHostSections(FromCrLf(windows.Process.Out)), MaskHostSections(mine.Process.Out));
    EXPECT_EQ(FromCrLf(WithoutWineDiagnostics(windows.Process.Err)), mine.Process.Err);
    EXPECT_EQ(windows.Files.size(), mine.Files.size());
    for (const auto& [name, bytes] : mine.Files) {
      const std::string other = windows.Files.count(name) ? windows.Files.at(name) : "(missing)";
      if (bytes.rfind("<?xml", 0) == 0)  // one line, no line ends to convert
        EXPECT_EQ(MaskHostBranches(other), MaskHostBranches(bytes)) << name;
      else
        EXPECT_EQ(MaskHostSections(FromCrLf(other)), MaskHostSections(bytes)) << name;
    }
    return mine;
  }

  std::string wine_;
};

// `wine kestrand.exe` examines the wine host: its volumes and drive letters
// come through the Windows volume calls (wine's disk listing finds no disk).
TEST_F(WindowsParity, LiveRunUnderWineReportsTheWineHost) {
  const Outcome windows = Run(true, {});
  ASSERT_EQ(windows.Process.ExitStatus, 0) << windows.Process.Err;
  EXPECT_EQ(WithoutWineDiagnostics(windows.Process.Err), "");
  EXPECT_TRUE(windows.Files.empty());
  const std::string text = FromCrLf(windows.Process.Out);
  EXPECT_EQ(text.find("[LF without CR]"), std::string::npos);
  for (const char* part : {"             Version: ", "\t\\\\?\\Volume{", "\t\tC:\\\n", "\tC: = \\Device\\"})
    EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
}

class WindowsParityOnImage : public WindowsParity, public ::testing::WithParamInterface<size_t> {};

TEST_P(WindowsParityOnImage, BothReportsOfTheDatabaseAsFoundAndRepairedAreTheSame) {
  std::string reason;
  const RealImages* images = RealImages::Get(reason);
  if (images == nullptr) GTEST_SKIP() << reason;
  for (bool repaired : {false, true}) {
    SCOPED_TRACE(repaired ? "repaired" : "as found");
    const std::string database = images->DatabaseFile(RealImages::Names()[GetParam()], repaired);
    ASSERT_EQ(std::filesystem::file_size(database), RealImages::kLdmAreaBytes);
    EXPECT_EQ(ExpectSameOutcome({"-l", kDatabase, "-a", "-f", "report.xml"}, database).Files.size(), 1u);
    EXPECT_EQ(ExpectSameOutcome({"-l", kDatabase, "-f", "report.txt"}, database).Files.size(), 1u);
  }
}

INSTANTIATE_TEST_SUITE_P(Images, WindowsParityOnImage, ::testing::Range<size_t>(0, 10));

}  // namespace
}  // namespace kestrand::test

#endif  // _WIN32
