#!/usr/bin/env bash
# Builds libkorva and runs every test twice: in a normal build and in an
# AddressSanitizer + UndefinedBehaviorSanitizer build. The tests labelled
# "thread" run a third time, in a ThreadSanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
jobs="$(nproc)"

echo "== normal build"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORVA_BUILD_TESTS=ON -DKORVA_BUILD_BENCH=ON >/dev/null
cmake --build build -j"$jobs"
(cd build && ctest --output-on-failure -j"$jobs")

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORVA_BUILD_TESTS=ON -DKORVA_SANITIZE=ON >/dev/null
cmake --build build-asan -j"$jobs"
(cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --output-on-failure -j"$jobs")

echo "== ThreadSanitizer build (tests labelled thread)"
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORVA_BUILD_TESTS=ON -DKORVA_TSAN=ON >/dev/null
cmake --build build-tsan -j"$jobs" --target sync_tests queue_stress_tests
(cd build-tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j"$jobs" -L thread)
