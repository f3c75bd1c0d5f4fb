#!/usr/bin/env bash
# Installs the Debian packages that building and testing libkorva need, and
# only those that are missing. Runs as root on a Debian machine.
set -euo pipefail

# libswscale-dev and libswresample-dev are linked only into the benchmarks, as
# peers; libpng-dev serves the tools. clang builds the library a second time
# and the fuzz targets, with its sanitizer and fuzzer runtimes. The Python
# module builds against Debian's own python3 and numpy; pytest runs its tests,
# OpenCV and PyAV are the readers its tests and benchmark compare against, and
# Dask with its distributed scheduler runs korva.dask. debhelper, dh-python and
# lintian build and check the Debian packages; abigail-tools keeps the ABI.
packages=(cmake make g++ libboost-dev libgtest-dev libbenchmark-dev ffmpeg libswscale-dev libswresample-dev libpng-dev
  pkg-config clang libclang-rt-14-dev
  python3 python3-dev pybind11-dev python3-numpy python3-pytest python3-opencv python3-av python3-dask python3-distributed
  debhelper dh-python fakeroot lintian abigail-tools)
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
