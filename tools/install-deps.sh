#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing Effects needs,
# only those that are missing. Runs apt-get as root, or through sudo.
set -euo pipefail

packages=(
  cmake make g++ gcc binutils pkgconf  # toolchain; OpenMP comes with GCC
  libgtest-dev libgmock-dev googletest # tests
  libbenchmark-dev                     # benchmarks
  pfstools                             # interchange tests of the Radiance files; CLI benchmark
  libjpeg62-turbo-dev libpng-dev       # the effects command's image files (and the tests' decoders)
  libtiff-dev libexif-dev
  time jhead bc                        # CLI benchmark: peak memory, EXIF times for pfsinme
)
packages+=("$@")

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
