// Runs the built tool as a separate process and captures what it printed;
// temporary folders, files and the text a report operation writes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace kestrand::test {

struct ProcessResult {
  // The exit status as a POSIX parent sees it (0..255; wine passes on the
  // low byte of a Windows exit code too), -1 if the process did not run.
  int ExitStatus = -1;
  // The whole exit code: on Windows the 32-bit value, elsewhere ExitStatus.
  uint32_t ExitCode = 0;
  // What it printed, as this platform's text streams read it (on Windows
  // CR LF reads as LF).
  std::string Out;
  std::string Err;
};

// How a `return -1` from main reaches the parent in ExitCode.
#ifdef _WIN32
constexpr uint32_t kMinusOneExitCode = 0xFFFFFFFF;
#else
constexpr uint32_t kMinusOneExitCode = 255;
#endif

// Runs `program` with `args` in the folder `workDir`; standard input is empty.
ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args, const std::string& workDir);

// Runs the tool of this build (build/kestrand, or kestrand.exe of a Windows build).
ProcessResult RunKestrandBinary(const std::vector<std::string>& args, const std::string& workDir);

// A fresh empty folder under the system temp folder, removed with the object.
class TempDir {
 public:
  TempDir();
  ~TempDir() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string ReadFileBytes(const std::string& path);
// The file as this platform's text streams read it: CR LF as LF on Windows.
std::string ReadFileText(const std::string& path);
bool FileExists(const std::string& path);
void WriteFileBytes(const std::string& path, const std::string& bytes);

// The bytes `print(stream)` wrote to a temporary file.
template <class Print>
std::string CaptureText(Print print) {
  std::string bytes;
  FILE* stream = std::tmpfile();
  EXPECT_NE(stream, nullptr) << "no temporary file";
  if (!stream) return bytes;
  print(stream);
  std::rewind(stream);  // flushes it too
  for (int c; (c = std::fgetc(stream)) != EOF;) bytes += static_cast<char>(c);
  std::fclose(stream);
  return bytes;
}

// The lines of `text`, without their line ends.
inline std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t start = 0; start < text.size();) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// How often `part` occurs in `text`.
inline size_t CountOf(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

}  // namespace kestrand::test
