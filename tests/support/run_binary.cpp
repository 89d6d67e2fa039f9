#include "support/run_binary.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace kestrand::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
  std::random_device rd;
  std::error_code ec;
  for (int attempt = 0; attempt < 100 && path_.empty(); ++attempt) {
    const fs::path candidate = fs::temp_directory_path() / ("kestrand-test-" + std::to_string(rd()));
    if (fs::create_directory(candidate, ec)) path_ = candidate.string();
  }
}

std::string ReadFileBytes(const std::string& path) {
  std::ostringstream s;
  s << std::ifstream(path, std::ios::binary).rdbuf();
  return s.str();
}

bool FileExists(const std::string& path) {
  std::error_code ec;
  return fs::exists(path, ec);
}

std::string ReadFileText(const std::string& path) {
  std::string text = ReadFileBytes(path);
#ifdef _WIN32
  // CR LF as LF, as a text-mode stream of the C runtime reads it.
  size_t kept = 0;
  for (size_t i = 0; i < text.size(); ++i)
    if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) text[kept++] = text[i];
  text.resize(kept);
#endif
  return text;
}

void WriteFileBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

#ifndef _WIN32
ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args, const std::string& workDir) {
  ProcessResult result;
  TempDir capture;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, capture.File("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, capture.File("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addchdir_np(&actions, workDir.c_str());
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  int status = 0;
  const int failed = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
    result.ExitStatus = WEXITSTATUS(status);
    result.ExitCode = static_cast<uint32_t>(result.ExitStatus);
  }
  result.Out = ReadFileBytes(capture.File("out"));
  result.Err = ReadFileBytes(capture.File("err"));
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

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args, const std::string& workDir) {
  ProcessResult result;
  TempDir capture;
  const std::string outPath = capture.File("out"), errPath = capture.File("err");
  HANDLE streams[3] = {InheritableFile("NUL", GENERIC_READ, OPEN_EXISTING),
                       InheritableFile(outPath, GENERIC_WRITE, CREATE_ALWAYS),
                       InheritableFile(errPath, GENERIC_WRITE, CREATE_ALWAYS)};
  std::string commandLine = QuoteArgument(program);
  for (const std::string& a : args) commandLine += " " + QuoteArgument(a);
  STARTUPINFOA startup{.cb = sizeof(STARTUPINFOA), .dwFlags = STARTF_USESTDHANDLES, .hStdInput = streams[0],
                       .hStdOutput = streams[1], .hStdError = streams[2]};
  PROCESS_INFORMATION process{};
  bool started = false;
  if (std::find(streams, streams + 3, INVALID_HANDLE_VALUE) == streams + 3)
    started = CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0,
                             nullptr, workDir.c_str(), &startup, &process);
  for (HANDLE stream : streams)
    if (stream != INVALID_HANDLE_VALUE) CloseHandle(stream);
  if (!started) return result;
  DWORD code = 0;
  if (WaitForSingleObject(process.hProcess, INFINITE) == WAIT_OBJECT_0 && GetExitCodeProcess(process.hProcess, &code)) {
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
