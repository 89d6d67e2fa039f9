#include "support/run_binary.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace kestrand::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
  std::random_device rd;
  for (int attempt = 0; attempt < 100; ++attempt) {
    fs::path candidate = fs::temp_directory_path() / ("kestrand-test-" + std::to_string(rd()));
    std::error_code ec;
    if (fs::create_directory(candidate, ec)) {
      path_ = candidate.string();
      return;
    }
  }
}

TempDir::~TempDir() {
  std::error_code ec;
  if (!path_.empty()) fs::remove_all(path_, ec);
}

std::string ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

bool FileExists(const std::string& path) {
  std::error_code ec;
  return fs::exists(path, ec);
}

#ifdef _WIN32
namespace {

// CR LF as LF, as a text-mode stream of the C runtime reads it.
std::string AsTextStream(const std::string& bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (size_t i = 0; i < bytes.size(); ++i)
    if (!(bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n')) text += bytes[i];
  return text;
}

}  // namespace

std::string ReadFileText(const std::string& path) { return AsTextStream(ReadFileBytes(path)); }
#else
std::string ReadFileText(const std::string& path) { return ReadFileBytes(path); }
#endif

void WriteFileBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

#ifndef _WIN32
ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args,
                         const std::string& workDir) {
  ProcessResult result;
  TempDir capture;
  const std::string outPath = capture.File("out"), errPath = capture.File("err");
  pid_t pid = fork();
  if (pid < 0) return result;
  if (pid == 0) {
    int in = open("/dev/null", O_RDONLY);
    int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in < 0 || out < 0 || err < 0 || chdir(workDir.c_str()) != 0) _exit(127);
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  int status = 0;
  if (waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
    result.ExitStatus = WEXITSTATUS(status);
    result.ExitCode = static_cast<uint32_t>(result.ExitStatus);
  }
  result.Out = ReadFileBytes(outPath);
  result.Err = ReadFileBytes(errPath);
  return result;
}
#else
namespace {

// One argument quoted so that the C runtime's parser splits it out again
// unchanged: backslashes count only before a quote.
std::string QuoteArgument(const std::string& arg) {
  if (!arg.empty() && arg.find_first_of(" \t\"") == std::string::npos) return arg;
  std::string quoted = "\"";
  size_t backslashes = 0;
  for (char c : arg) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    quoted.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
    quoted += c;
    backslashes = 0;
  }
  quoted.append(backslashes * 2, '\\');
  return quoted + "\"";
}

// A handle the child inherits as one of its standard streams.
HANDLE InheritableFile(const std::string& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
  return CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                     disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args,
                         const std::string& workDir) {
  ProcessResult result;
  TempDir capture;
  const std::string outPath = capture.File("out"), errPath = capture.File("err");
  HANDLE streams[3] = {InheritableFile("NUL", GENERIC_READ, OPEN_EXISTING),
                       InheritableFile(outPath, GENERIC_WRITE, CREATE_ALWAYS),
                       InheritableFile(errPath, GENERIC_WRITE, CREATE_ALWAYS)};
  std::string commandLine = QuoteArgument(program);
  for (const std::string& a : args) commandLine += " " + QuoteArgument(a);
  STARTUPINFOA startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = streams[0];
  startup.hStdOutput = streams[1];
  startup.hStdError = streams[2];
  PROCESS_INFORMATION process{};
  bool started = false;
  if (streams[0] != INVALID_HANDLE_VALUE && streams[1] != INVALID_HANDLE_VALUE &&
      streams[2] != INVALID_HANDLE_VALUE)
    started = CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0,
                             nullptr, workDir.c_str(), &startup, &process);
  for (HANDLE stream : streams)
    if (stream != INVALID_HANDLE_VALUE) CloseHandle(stream);
  if (!started) return result;
  DWORD code = 0;
  if (WaitForSingleObject(process.hProcess, INFINITE) == WAIT_OBJECT_0 &&
      GetExitCodeProcess(process.hProcess, &code)) {
    result.ExitCode = code;
    result.ExitStatus = static_cast<int>(code & 0xFF);
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  result.Out = ReadFileText(outPath);
  result.Err = ReadFileText(errPath);
  return result;
}
#endif

ProcessResult RunKestrandBinary(const std::vector<std::string>& args, const std::string& workDir) {
  return RunProcess(fs::absolute(KESTRAND_BINARY).make_preferred().string(), args, workDir);
}

}  // namespace kestrand::test
