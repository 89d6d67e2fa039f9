// What a report operation writes to a stream, and its lines.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace kestrand {

// The bytes `print(stream)` wrote to a temporary file.
template <class Print>
std::string CaptureText(Print print) {
  std::string bytes;
  FILE* stream = std::tmpfile();
  if (!stream) {
    ADD_FAILURE() << "no temporary file";
    return bytes;
  }
  print(stream);
  std::fflush(stream);
  std::rewind(stream);
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, stream)) > 0;) bytes.append(buffer, n);
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

}  // namespace kestrand
