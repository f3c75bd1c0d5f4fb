#!/usr/bin/env bash
# Builds libkorva and its tools, then shows what korva-avi reads from the small
# AVI file that the build generates.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" >/dev/null
echo "file: $(pwd)/build/sample.avi"
build/tools/korva-avi info build/sample.avi
