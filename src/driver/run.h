// One run of the tool, from the command line to the exit status.
#pragma once

#include <cstdio>

namespace kestrand {

// `out` and `err` stand for standard output and standard error, so that tests
// can run the whole driver in-process.
int RunKestrand(int argc, const char* const* argv, FILE* out, FILE* err);

}  // namespace kestrand
