#!/usr/bin/env bash
# Configures and builds the project into build/ (or $FPK_BUILD_DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
build="${FPK_BUILD_DIR:-build}"
launcher=()
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$(cd .. && pwd)}"
fi
cmake -S . -B "$build" "${launcher[@]}" -DCMAKE_BUILD_TYPE="${FPK_BUILD_TYPE:-RelWithDebInfo}" "$@" >/dev/null
cmake --build "$build" -j"${FPK_JOBS:-$(nproc)}"
