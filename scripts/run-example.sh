#!/usr/bin/env bash
# Builds everything and runs LAST on the bundled example.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
build/bin/fpk run LAST examples/last.json --format table
