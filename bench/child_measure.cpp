#include "child_measure.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>

namespace kestrand::bench {

namespace {

double Ms(const timeval& t) { return t.tv_sec * 1000.0 + t.tv_usec / 1000.0; }

Measurement Wait(pid_t pid, std::chrono::steady_clock::time_point start) {
  Measurement m;
  if (pid < 0) return m;
  int status = 0;
  rusage usage{};
  while (wait4(pid, &status, 0, &usage) < 0) {
    if (errno != EINTR) return m;
  }
  m.WallMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  m.CpuMs = Ms(usage.ru_utime) + Ms(usage.ru_stime);
  m.MaxRssKb = usage.ru_maxrss;
  m.ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return m;
}

void Redirect(const std::string& path, int target) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) _exit(126);
  dup2(fd, target);
  close(fd);
}

}  // namespace

Measurement MeasureInChild(const std::function<int()>& body) {
  std::fflush(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    const int code = body();
    std::fflush(nullptr);
    _exit(code);
  }
  return Wait(pid, start);
}

Measurement MeasureProgram(const std::vector<std::string>& argv, const std::string& outPath,
                           const std::string& errPath) {
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  std::fflush(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    Redirect(outPath, STDOUT_FILENO);
    Redirect(errPath, STDERR_FILENO);
    execvp(args[0], args.data());
    _exit(127);
  }
  return Wait(pid, start);
}

Measurement Median(std::vector<Measurement> runs) {
  Measurement m;
  if (runs.empty()) return m;
  auto middle = [&runs](auto field) {
    std::vector<double> values;
    for (const auto& run : runs) values.push_back(static_cast<double>(run.*field));
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
  };
  m.WallMs = middle(&Measurement::WallMs);
  m.CpuMs = middle(&Measurement::CpuMs);
  m.MaxRssKb = static_cast<long>(middle(&Measurement::MaxRssKb));
  m.ExitCode = 0;
  for (const auto& run : runs)
    if (run.ExitCode != 0) {
      m.ExitCode = run.ExitCode;
      break;
    }
  return m;
}

}  // namespace kestrand::bench
