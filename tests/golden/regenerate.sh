#!/bin/sh
# Rewrites every golden report with the tool of a build (default: build),
# then shows what changed. Read the whole diff before committing it.
set -e
cd "$(dirname "$0")/../.."
build=${1:-build}
cmake --build "$build" -j2 --target golden_tests unit_tests kestrand
KESTRAND_REGENERATE_GOLDENS=1 "$build/tests/golden_tests"
KESTRAND_REGENERATE_GOLDENS=1 "$build/tests/unit_tests" --gtest_filter='*FixtureHost*'  # linux/
git status --short tests/golden/expected
git diff --stat tests/golden/expected
