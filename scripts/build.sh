#!/usr/bin/env bash
# Configures and builds the project into build/ (or $FPK_BUILD_DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
build="${FPK_BUILD_DIR:-build}"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE="${FPK_BUILD_TYPE:-RelWithDebInfo}" "$@" >/dev/null
cmake --build "$build" -j"${FPK_JOBS:-$(nproc)}"
