#!/usr/bin/env bash
# Builds everything and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
cd "${FPK_BUILD_DIR:-build}"
ctest --output-on-failure -j"${FPK_JOBS:-$(nproc)}"
