#!/usr/bin/env bash
# Installs what building and testing VOSK32PD needs on a Debian machine.
# Skips apt-get when everything is already there.
set -euo pipefail
pkgs=(cmake ninja-build g++ clang llvm libclang-rt-14-dev pkg-config googletest libgtest-dev
      libgmock-dev libbenchmark-dev zlib1g-dev libpng-dev libjpeg-dev python3-pil python3-numpy
      imagemagick libtiff-tools libtiff-dev libspng-dev libgif-dev libhwy-dev libjpeg62-turbo-dev
      libvips-tools netpbm)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
