#!/usr/bin/env bash
# The sanitizer jobs of CI:
#   1. the whole test suite built with the address and undefined-behaviour sanitizers;
#   2. the concurrency tests built with the thread sanitizer.
# Each job prints its wall-clock time.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

start=$(date +%s)
FPK_BUILD_DIR=build-asan scripts/build.sh -DFPK_SANITIZE=address,undefined -DFPK_BUILD_BENCH=OFF >/dev/null
(cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --output-on-failure -j"${FPK_JOBS:-$(nproc)}")
echo "sanitizers: address+undefined job took $(( $(date +%s) - start )) s"

start=$(date +%s)
FPK_BUILD_DIR=build-tsan scripts/build.sh -DFPK_SANITIZE=thread -DFPK_BUILD_BENCH=OFF >/dev/null
TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp halt_on_error=1" \
  build-tsan/bin/fpk_tests --gtest_filter='*Concurren*:*Thread*:ParallelFor*'
echo "sanitizers: thread job took $(( $(date +%s) - start )) s"
