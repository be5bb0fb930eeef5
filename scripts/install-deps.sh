#!/usr/bin/env bash
# Installs the Debian packages the project needs to build, test and run its
# benchmarks. Idempotent: packages already present are not touched, and
# apt-get runs only when something is missing.
set -euo pipefail

packages=(
  cmake g++ make
  libgtest-dev libgmock-dev libbenchmark-dev
  nlohmann-json3-dev libcli11-dev
  python3 python3-numpy python3-pandas
)
# Extra groups: "fuzz" (clang for libFuzzer), "refdata" (regenerating the
# reference data of the tests), "stats" (statsmodels cross-checks).
for group in "$@"; do
  case "$group" in
    fuzz) packages+=(clang libclang-rt-dev) ;;
    refdata) packages+=(libreoffice-calc-nogui python3-statsmodels) ;;
    stats) packages+=(python3-statsmodels) ;;
    *) echo "install-deps: unknown group $group" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "install-deps: installing ${missing[*]}" >&2
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
