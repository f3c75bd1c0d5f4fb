#!/usr/bin/env bash
# Installs the Debian packages that building and testing libkorva need, and
# only those that are missing. Runs as root on a Debian machine.
set -euo pipefail

# libswscale-dev and libswresample-dev are linked only into the benchmarks, as
# peers; libpng-dev serves the tools.
packages=(cmake make g++ libboost-dev libgtest-dev libbenchmark-dev ffmpeg libswscale-dev libswresample-dev libpng-dev pkg-config)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
