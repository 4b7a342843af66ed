#!/usr/bin/env bash
# CI stage for Windows: cross-builds Effects.dll and its test programs with
# MinGW-w64 (the `windows` preset) and runs the suite under Wine. Installs
# the toolchain and Wine first when they are missing (needs root then).
set -euo pipefail
cd "$(dirname "$0")/.."
start=$SECONDS

need=()
command -v x86_64-w64-mingw32-g++-posix >/dev/null || need+=(g++-mingw-w64-x86-64-posix)
command -v wine >/dev/null || need+=(wine)
command -v wine64 >/dev/null || [ -x /usr/lib/wine/wine64 ] || need+=(wine64)
[ -f /usr/src/googletest/CMakeLists.txt ] || need+=(googletest)
command -v cmake >/dev/null || need+=(cmake)
if [ ${#need[@]} -gt 0 ]; then
    echo "windows: installing ${need[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${need[@]}"
fi

cmake --preset windows
cmake --build --preset windows -j2

# Wine's prefix lives in the build tree. The server and the prefix are
# started before ctest and stopped after it: left to themselves, Wine's
# helper processes would hold ctest's output pipe open.
export WINEPREFIX="$PWD/build/windows/wineprefix"
export WINEDEBUG=-all,err+module
stop_wine() { wineserver -k 2>/dev/null || true; }
trap stop_wine EXIT
mkdir -p "$WINEPREFIX"
wineserver -p
wine wineboot -i >/dev/null 2>&1

status=0
ctest --preset windows || status=$?
stop_wine
trap - EXIT
echo "windows: stage finished with status $status in $((SECONDS - start)) s"
exit $status
