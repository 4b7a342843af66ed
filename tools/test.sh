#!/usr/bin/env bash
# Builds and runs every test of one preset (default: debug), installing the
# missing Debian packages first.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-debug}
tools/install-deps.sh
cmake --preset "$preset"
cmake --build --preset "$preset" -j2
ctest --preset "$preset" -j2
