// Small reads of the text files and directories of sysfs and /proc.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kestrand {

// Reads at most `maxBytes` of a file into `out`; returns 0 or the errno.
// Kernel files report no size, so this reads until the end.
int ReadTextFile(const std::string& path, std::string& out, size_t maxBytes = 4096);

// The first line of a small attribute file, without its line end; false when
// the file cannot be read.
bool ReadAttribute(const std::string& path, std::string& value);

// Names in a directory (without "." and ".."); returns 0 or the errno.
int ListDirectory(const std::string& path, std::vector<std::string>& names);

// Whether something exists at the path (following links).
bool PathExists(const std::string& path);

}  // namespace kestrand
