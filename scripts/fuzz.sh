#!/usr/bin/env bash
# Robustness runs: the fuzz driver over every function through the loader,
# then each coverage-guided fuzz target (clang's libFuzzer with address and
# undefined-behaviour sanitizers) for a bounded time.
#   scripts/fuzz.sh [SECONDS_DRIVER] [SECONDS_PER_TARGET] [SEED]
set -euo pipefail
cd "$(dirname "$0")/.."
driver_seconds="${1:-60}"
target_seconds="${2:-30}"
seed="${3:-20261122}"
scripts/install-deps.sh fuzz

build="${FPK_FUZZ_BUILD_DIR:-build-fuzz}"
CXX=clang++ FPK_BUILD_DIR="$build" scripts/build.sh -DFPK_SANITIZE=address,undefined -DFPK_LIBFUZZER=ON \
  -DFPK_BUILD_TESTS=OFF -DFPK_BUILD_BENCH=OFF >/dev/null

echo "== fuzz driver: ${driver_seconds}s, seed ${seed}"
"$build/bin/fpk_fuzz" --seconds "$driver_seconds" --seed "$seed" --library "$build/lib/libfpk.so"

for target in "$build"/bin/*Fuzz; do
  name=$(basename "$target" Fuzz)
  corpus="fuzz/corpus/$name"
  work=$(mktemp -d)
  mkdir -p "$corpus"
  echo "== $(basename "$target"): ${target_seconds}s"
  "$target" -max_total_time="$target_seconds" -seed="$seed" -artifact_prefix="$work/" "$work" "$corpus" 2>&1 | tail -n 2
  rm -rf "$work"
done
