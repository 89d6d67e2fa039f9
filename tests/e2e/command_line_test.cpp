// The real binary's command line: messages, usage, exit status and which
// files a run leaves behind.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <set>

#include "support/run_binary.h"

namespace kestrand::test {
namespace {

const char kUsage[] =
    "kestrand [/f | -f file] [/a | -a] [/d | -d disk #] [/l | -l file] [/? | -? | /h | -h]\n\n"
    "Where:\n"
    "/f | -f file\n"
    "\t\tspecifies the filename for the output file,\n"
    "\t\tdefaults to kestrand.txt. If used along with\n"
    "\t\tthe -a option, the default file name is\n"
    "\t\tkestrandanalysis.xml\n\n"
    "/a | -a \n"
    "\t\tperforms analysis of dynamic disk database\n\n"
    "/d | -d disk # \n"
    "\t\tspecifies the disk number. If not specified,\n"
    "\t\tall disks available on the system are included\n"
    "\t\tin the output.\n\n"
    "/l | -l file\n"
    "\t\tspecifies the filename for the LDM file to analyze.\n\n"
    "/? | -? | /h | -h \n"
    "\t\tprints this message\n";

std::set<std::string> FilesIn(const std::string& dir) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir))
    names.insert(entry.path().filename().string());
  return names;
}

struct Expectation {
  std::vector<std::string> Args;
  std::string Err;
  bool Usage;
  int Status;
};

class CommandLineErrors : public ::testing::TestWithParam<Expectation> {};

TEST_P(CommandLineErrors, PrintsMessageUsageAndStatus) {
  const Expectation& e = GetParam();
  TempDir dir;
  ProcessResult r = RunKestrandBinary(e.Args, dir.Path());
  EXPECT_EQ(r.Err, e.Err);
  EXPECT_EQ(r.Out, e.Usage ? std::string(kUsage) : std::string());
  EXPECT_EQ(r.ExitStatus, e.Status);
  EXPECT_EQ(r.ExitCode, e.Status == 255 ? kMinusOneExitCode : static_cast<uint32_t>(e.Status));
  // Nothing is gathered or written when the command line stops the run.
  EXPECT_TRUE(FilesIn(dir.Path()).empty());
}

// Test names from the arguments, e.g. "f_a_txt_f_b_txt".
std::string NameOf(const ::testing::TestParamInfo<Expectation>& info) {
  std::string name;
  for (const std::string& arg : info.param.Args) {
    if (!name.empty()) name += "_";
    for (char c : arg) name += std::isalnum(static_cast<unsigned char>(c)) ? c : (c == '?' ? 'Q' : 'x');
    if (arg.empty()) name += "empty";
  }
  return name + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(
    Table, CommandLineErrors,
    ::testing::Values(
        Expectation{{"-?"}, "", true, 0}, Expectation{{"/?"}, "", true, 0},
        Expectation{{"-h"}, "", true, 0}, Expectation{{"/H"}, "", true, 0},
        Expectation{{"-a", "-H", "-a"}, "", true, 0},
        Expectation{{"-x"}, "KESTRAND ERROR : Unrecognized switch: -x\n\n", true, 255},
        Expectation{{"-ab"}, "KESTRAND ERROR : Unrecognized switch: -ab\n\n", true, 255},
        Expectation{{"x"}, "KESTRAND ERROR : Unrecognized switch: x\n\n", true, 255},
        Expectation{{"-"}, "KESTRAND ERROR : Unrecognized switch: -\n\n", true, 255},
        Expectation{{""}, "KESTRAND ERROR : Unrecognized switch: \n\n", true, 255},
        Expectation{{"-a", "/z"}, "KESTRAND ERROR : Unrecognized switch: /z\n\n", true, 255},
        Expectation{{"-f", "a.txt", "-f", "b.txt"},
                    "KESTRAND ERROR : Cannot specify multiple output files\n\n", true, 0},
        Expectation{{"-d"}, "KESTRAND ERROR : Disk number not specified\n\n", true, 0},
        Expectation{{"-a", "/D"}, "KESTRAND ERROR : Disk number not specified\n\n", true, 0},
        Expectation{{"-d", "-a"}, "KESTRAND ERROR : Invalid disk number: -a\n\n", true, 0},
        Expectation{{"-d", "/1"}, "KESTRAND ERROR : Invalid disk number: /1\n\n", true, 0},
        Expectation{{"-l", "-a"}, "KESTRAND ERROR : missing file name.\n\n", true, 0},
        Expectation{{"/L", "/f"}, "KESTRAND ERROR : missing file name.\n\n", true, 0},
        Expectation{{"-f", ""}, "", true, 0}, Expectation{{"-l", ""}, "", true, 0},
        Expectation{{"-d", ""}, "", true, 0},
        Expectation{{"-l", "db.bin", "-d", "0"}, "KESTRAND ERROR : cannot specify -l with -d.\n", false, 0},
        Expectation{{"-d", "3", "/L", "db.bin"}, "KESTRAND ERROR : cannot specify -l with -d.\n", false, 0}),
    NameOf);

TEST(CommandLine, TextFileThatCannotBeOpenedEndsWithMinusOne) {
  TempDir dir;
  ProcessResult r = RunKestrandBinary({"-f", "no/such/folder/out.txt", "-l", "missing.bin"}, dir.Path());
  EXPECT_EQ(r.Err, "KESTRAND ERROR : Failed to open file: no/such/folder/out.txt\n");
  EXPECT_EQ(r.Out, "");
  EXPECT_EQ(r.ExitStatus, 255);
  EXPECT_EQ(r.ExitCode, kMinusOneExitCode);
}

TEST(CommandLine, OutputFileTakesTheTextAndStandardOutputStaysEmpty) {
  TempDir dir;
  ProcessResult r = RunKestrandBinary({"-f", "out.txt", "-l", "missing.bin"}, dir.Path());
  EXPECT_EQ(r.ExitStatus, 0);
  EXPECT_EQ(r.Out, "");
  EXPECT_EQ(FilesIn(dir.Path()), std::set<std::string>{"out.txt"});
  const std::string text = ReadFileBytes(dir.File("out.txt"));
  EXPECT_NE(text.find("Computer Name and OS Version"), std::string::npos);
}

TEST(CommandLine, SameReportToFileAsToStandardOutput) {
  TempDir dir;
  ProcessResult toFile = RunKestrandBinary({"-f", "out.txt", "-l", "missing.bin"}, dir.Path());
  ProcessResult toOut = RunKestrandBinary({"-l", "missing.bin"}, dir.Path());
  EXPECT_EQ(ReadFileText(dir.File("out.txt")), toOut.Out);
}

TEST(CommandLine, AnalysisWritesDefaultXmlAndTextToStandardOutput) {
  TempDir dir;
  ProcessResult r = RunKestrandBinary({"/A", "-l", "missing.bin"}, dir.Path());
  EXPECT_EQ(r.ExitStatus, 0);
  EXPECT_NE(r.Out.find("Computer Name and OS Version"), std::string::npos);
  EXPECT_EQ(FilesIn(dir.Path()), std::set<std::string>{"kestrandanalysis.xml"});
  const std::string xml = ReadFileBytes(dir.File("kestrandanalysis.xml"));
  EXPECT_EQ(xml.rfind("<?xml version='1.0' encoding='utf-8'?><root _ElementDisplayName=\"Kestrand\" _ElementIcon=\"1\">", 0), 0u);
  EXPECT_EQ(xml.find('\n'), std::string::npos);
}

TEST(CommandLine, AnalysisWithOutputFileWritesXmlThere) {
  TempDir dir;
  ProcessResult r = RunKestrandBinary({"-a", "-f", "report.xml", "-l", "missing.bin"}, dir.Path());
  EXPECT_EQ(r.ExitStatus, 0);
  EXPECT_NE(r.Out.find("Computer Name and OS Version"), std::string::npos);
  EXPECT_EQ(FilesIn(dir.Path()), std::set<std::string>{"report.xml"});
}

TEST(CommandLine, OutputSwitchWithoutNameUsesTheDefaultName) {
  TempDir dir;
  // The switch after -f is parsed as a switch; the name keeps its default,
  // which also receives the text report when there is no analysis.
  ProcessResult r = RunKestrandBinary({"-f", "-l", "missing.bin"}, dir.Path());
  EXPECT_EQ(r.ExitStatus, 0);
  EXPECT_EQ(r.Out, "");
  EXPECT_EQ(FilesIn(dir.Path()), std::set<std::string>{"kestrandanalysis.xml"});
  EXPECT_NE(ReadFileBytes(dir.File("kestrandanalysis.xml")).find("Computer Name"), std::string::npos);
}

TEST(CommandLine, DiskNumbersPrintOneHeadingEachInTheOrderGiven) {
  TempDir dir;
  // "x" reads as disk 0; a number that matches no disk says so.
  ProcessResult r = RunKestrandBinary({"-d", "4000000", "-d", "x", "-d", "4000000"}, dir.Path());
  EXPECT_EQ(r.ExitStatus, 0);
  const std::string heading = std::string(32 - 4, ' ') + "Disk 4000000 Summary\n";
  const size_t first = r.Out.find(heading);
  ASSERT_NE(first, std::string::npos);
  const size_t zero = r.Out.find(std::string(28, ' ') + "Disk 0 Summary\n", first);
  ASSERT_NE(zero, std::string::npos);
  EXPECT_NE(r.Out.find(heading, zero), std::string::npos);
  EXPECT_NE(r.Out.find("\t ERROR: Disk does not exist\n"), std::string::npos);
  EXPECT_EQ(r.Out.find("Dynamic Disk Information"), std::string::npos);
}

}  // namespace
}  // namespace kestrand::test
