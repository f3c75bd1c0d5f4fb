#!/usr/bin/env bash
# Builds libkorva and runs every test: in a normal GCC build, in a clang
# Release build, and in an AddressSanitizer + UndefinedBehaviorSanitizer build;
# the tests labelled "thread" run once more in a ThreadSanitizer build. Then
# each fuzz target runs for a minute from its seed corpus, and any crash, leak,
# timeout or out-of-memory input fails the command. Each stage's time is
# printed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
jobs="$(nproc)"

timings=()
stage() {
  local name=$1 start=$SECONDS
  shift
  echo "== $name"
  "$@"
  timings+=("$(printf '%-45s %4d s' "$name" $((SECONDS - start)))")
}

gcc_normal() {
  cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORVA_BUILD_TESTS=ON -DKORVA_BUILD_BENCH=ON >/dev/null
  cmake --build build -j"$jobs"
  (cd build && ctest --output-on-failure -j"$jobs")
}

# The second compiler: library, tools, tests and benchmarks, warnings as errors.
clang_release() {
  CC=clang CXX=clang++ cmake -S . -B build-clang -DCMAKE_BUILD_TYPE=Release -DKORVA_BUILD_TESTS=ON \
    -DKORVA_BUILD_BENCH=ON >/dev/null
  cmake --build build-clang -j"$jobs"
  (cd build-clang && ctest --output-on-failure -j"$jobs")
}

asan_ubsan() {
  cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORVA_BUILD_TESTS=ON -DKORVA_SANITIZE=ON >/dev/null
  cmake --build build-asan -j"$jobs"
  (cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --output-on-failure -j"$jobs")
}

tsan() {
  cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORVA_BUILD_TESTS=ON -DKORVA_TSAN=ON >/dev/null
  cmake --build build-tsan -j"$jobs" --target sync_tests queue_stress_tests
  (cd build-tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j"$jobs" -L thread)
}

# The fuzzers' own output is long; it is shown when they fail.
fuzz() {
  mkdir -p build-fuzz
  for target in avi_read avi_write kernel repair; do
    local log=build-fuzz/$target.out
    bash fuzz/run.sh 60 1 "$target" >"$log" 2>&1 || {
      tail -n 40 "$log"
      return 1
    }
    tail -n 3 "$log"
  done
}

stage "GCC build, all tests" gcc_normal
stage "clang Release build, all tests" clang_release
stage "AddressSanitizer + UBSan build, all tests" asan_ubsan
stage "ThreadSanitizer build (tests labelled thread)" tsan
stage "fuzzing, 60 s a target" fuzz

echo "== times"
printf '%s\n' "${timings[@]}"
