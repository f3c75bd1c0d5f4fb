#!/usr/bin/env bash
# Builds libkorva and its tools, writes a test pattern AVI with the built-in
# defaults (moving colour bars, frame counter, 440 Hz tone), and shows what
# korva-avi reads back from it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" >/dev/null
out="$(pwd)/build/testpattern.avi"
build/tools/korva-avi testpattern "$out"
build/tools/korva-avi info "$out"
echo "the file is at $out"
