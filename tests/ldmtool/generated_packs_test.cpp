// Generated packs of two to four disks with simple, spanned, mirrored and
// striped volumes: ldmtool finds the group, its disks and volumes of the
// right kinds, and the tool's reports show the same volumes, no missing
// disk and no failed consistency test.
#include <gtest/gtest.h>

#include <cstdlib>

#include "pack_checks.h"
#include "support/run_binary.h"

namespace kestrand::test {
namespace {

TEST(GeneratedPacks, LdmtoolAndTheToolAgree) {
  if (std::system("command -v ldmtool >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "ldmtool is not installed (Debian package ldmtool)";
  const bench::PackRequest requests[] = {{2, 64, 512ull << 20}, {3, 256, 1ull << 30}, {4, 700, 8ull << 30}};
  for (const bench::PackRequest& request : requests) {
    TempDir dir;
    bench::PackFacts facts;
    ASSERT_EQ(bench::WritePack(request, dir.Path(), facts), "");
    ASSERT_GE(facts.Volumes, 4u) << request.NumBlocks;
    for (const std::string& failure : bench::CheckPack(facts, dir.Path(), true))
      ADD_FAILURE() << request.Disks << " disks, " << request.NumBlocks << " blocks: " << failure;
  }
}

}  // namespace
}  // namespace kestrand::test
