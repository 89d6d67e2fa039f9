#include "phases.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "disk/disk.h"
#include "driver/disk_set.h"
#include "driver/kestrand.h"
#include "ldm/record_tree.h"
#include "platform/platform.h"
#include "support/image_platform.h"

namespace kestrand::bench {

namespace {

uint64_t CountNodes(const RECORD_TREE_NODE* root) {
  uint64_t count = 0;
  const RECORD_TREE_NODE* node = root;
  while (node) {
    ++count;
    if (node->FirstChild) {
      node = node->FirstChild;
      continue;
    }
    while (node && !node->NextSibling) node = node->Parent;
    if (node) node = node->NextSibling;
  }
  return count;
}

Phases Gather(const PackFacts& facts) {
  CImagePlatform platform;
  for (size_t i = 0; i < facts.ImagePaths.size(); ++i)
    platform.AddImage(facts.ImagePaths[i], static_cast<uint32_t>(i));
  InstallPlatform(&platform);
  Phases phases;
  {
    CKestrand kestrand;
    const auto start = std::chrono::steady_clock::now();
    kestrand.EnumerateDisks();
    const auto gathered = std::chrono::steady_clock::now();
    CDiskSet diskSet;
    BuildDiskSet(&diskSet, &kestrand);
    const auto merged = std::chrono::steady_clock::now();
    phases.GatherMs = std::chrono::duration<double, std::milli>(gathered - start).count();
    phases.MergeMs = std::chrono::duration<double, std::milli>(merged - gathered).count();
    phases.TreeNodes = CountNodes(diskSet.RecordTree);
  }
  InstallPlatform(nullptr);
  return phases;
}

}  // namespace

Phases MeasurePhases(const PackFacts& facts) {
  int fds[2];
  if (pipe(fds) != 0) return {};
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    const Phases phases = Gather(facts);
    char line[128];
    const int length = std::snprintf(line, sizeof line, "%f %f %llu\n", phases.GatherMs, phases.MergeMs,
                                     static_cast<unsigned long long>(phases.TreeNodes));
    const bool written = length > 0 && write(fds[1], line, static_cast<size_t>(length)) == length;
    _exit(written ? 0 : 1);
  }
  close(fds[1]);
  Phases phases;
  if (pid > 0) {
    char line[128] = {};
    size_t got = 0;
    ssize_t n = 0;
    while (got < sizeof line - 1 && (n = read(fds[0], line + got, sizeof line - 1 - got)) > 0) got += static_cast<size_t>(n);
    unsigned long long nodes = 0;
    if (std::sscanf(line, "%lf %lf %llu", &phases.GatherMs, &phases.MergeMs, &nodes) == 3) phases.TreeNodes = nodes;
    int status = 0;
    waitpid(pid, &status, 0);
  }
  close(fds[0]);
  return phases;
}

}  // namespace kestrand::bench
