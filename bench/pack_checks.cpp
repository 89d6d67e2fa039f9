#include "pack_checks.h"

namespace kestrand::bench {
std::vector<std::string> CheckPack(const PackFacts&, const std::string&) { return {"not yet"}; }
}  // namespace kestrand::bench
