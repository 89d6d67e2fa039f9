// Runs the built tool as a separate process and captures what it printed.
#pragma once

#include <string>
#include <vector>

namespace kestrand::test {

struct ProcessResult {
  int ExitStatus = -1;  // the process exit status (0..255), -1 if it did not run
  std::string Out;
  std::string Err;
};

// Runs `program` with `args` in the folder `workDir`; standard input is empty.
ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args,
                         const std::string& workDir);

// Runs build/kestrand.
ProcessResult RunKestrandBinary(const std::vector<std::string>& args, const std::string& workDir);

// A fresh empty folder under the system temp folder, removed with the object.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string ReadFileBytes(const std::string& path);
bool FileExists(const std::string& path);
void WriteFileBytes(const std::string& path, const std::string& bytes);

}  // namespace kestrand::test
