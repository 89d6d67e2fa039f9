#include <cstdio>

#include "driver/run.h"

int main(int argc, char** argv) { return kestrand::RunKestrand(argc, argv, stdout, stderr); }
