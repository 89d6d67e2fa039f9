#include "support/run_binary.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#ifndef _WIN32
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
  if (waitpid(pid, &status, 0) == pid && WIFEXITED(status)) result.ExitStatus = WEXITSTATUS(status);
  result.Out = ReadFileBytes(outPath);
  result.Err = ReadFileBytes(errPath);
  return result;
}
#else
ProcessResult RunProcess(const std::string&, const std::vector<std::string>&, const std::string&) {
  return ProcessResult{};
}
#endif

ProcessResult RunKestrandBinary(const std::vector<std::string>& args, const std::string& workDir) {
  return RunProcess(fs::absolute(KESTRAND_BINARY).string(), args, workDir);
}

}  // namespace kestrand::test
