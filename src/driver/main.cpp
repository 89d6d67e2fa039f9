// The tool's entry point. It stays out of the core library so that the test
// suites and benchmarks, which bring their own main, can link that library
// and run the whole driver in-process through RunKestrand.
#include <cstdio>

#include "driver/kestrand.h"

int main(int argc, char** argv) { return kestrand::RunKestrand(argc, argv, stdout, stderr); }
