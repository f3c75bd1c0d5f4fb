#!/usr/bin/env bash
# Builds a fuzz target with clang (in build-fuzz/) and runs it.
#
# Usage: fuzz/run.sh SECONDS [JOBS] [TARGET]
#
# TARGET is avi_read (the default), avi_write, kernel or repair (fuzz/CMakeLists.txt
# tells what each takes). The fuzzer works on a copy of fuzz/corpus/TARGET in
# build-fuzz/work/TARGET, which keeps what it finds from run to run; the seeds
# in the repository stay as they are. fuzz/TARGET.dict is used where there is
# one. Crash inputs go to fuzz/artifacts/TARGET/ (not tracked). Exits non-zero
# when the run left a new crash, leak, timeout or out-of-memory input there.
#
# KORVA_FUZZ_BUILD names another build directory, for a long run that goes on
# beside other runs.
set -euo pipefail

usage() {
    echo "usage: $0 SECONDS [JOBS] [avi_read|avi_write|kernel]" >&2
    exit 2
}
[[ $# -ge 1 && $# -le 3 ]] || usage
seconds=$1
jobs=${2:-1}
target=${3:-avi_read}
[[ $seconds =~ ^[0-9]+$ && $jobs =~ ^[1-9][0-9]*$ ]] || usage
[[ $target == avi_read || $target == avi_write || $target == kernel || $target == repair ]] || usage

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${KORVA_FUZZ_BUILD:-$root/build-fuzz}
work=$build/work/$target
artifacts=$root/fuzz/artifacts/$target

# --- Tools: installed only when missing. ----------------------------------
sudo=""
[[ $(id -u) -eq 0 ]] || sudo=sudo
updated=no
install() {
    if [[ $updated == no ]]; then
        $sudo apt-get update
        updated=yes
    fi
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y "$@"
}
missing=()
for package in clang cmake make libboost-dev; do
    dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] || install "${missing[@]}"
# The fuzzer and sanitizer runtimes come with the compiler's own version.
major=$(clang --version | sed -n 's/.*clang version \([0-9][0-9]*\).*/\1/p' | head -n 1)
if [[ -n $major ]] && ! dpkg -s "libclang-rt-$major-dev" >/dev/null 2>&1; then
    install "libclang-rt-$major-dev"
fi

# --- Build. ---------------------------------------------------------------------
CC=clang CXX=clang++ cmake -S "$root" -B "$build" \
    -DKORVA_FUZZ=ON -DKORVA_BUILD_TESTS=OFF -DKORVA_BUILD_TOOLS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target "${target}_fuzzer"

# --- Run. -------------------------------------------------------------------------
mkdir -p "$work/corpus" "$artifacts"
for seed in "$root/fuzz/corpus/$target"/*; do
    [[ -e $work/corpus/$(basename "$seed") ]] || cp "$seed" "$work/corpus/"
done
dict=()
[[ -f $root/fuzz/$target.dict ]] && dict=(-dict="$root/fuzz/$target.dict")

# Inputs that libFuzzer writes (or writes again) during this run are newer
# than this stamp.
stamp=$work/fuzz.start
touch "$stamp"
findings() {
    find "$artifacts" -maxdepth 1 -type f -newer "$stamp" \( -name 'crash-*' -o -name 'leak-*' \
        -o -name 'timeout-*' -o -name 'oom-*' \) -print
}

# Fork mode goes on after a crash, so one shallow fault does not hide the
# others for the rest of the run; each crash input still lands in artifacts/.
log=$work/fuzz.log
set +e
(cd "$work" && "$build/fuzz/${target}_fuzzer" \
    -fork="$jobs" -ignore_crashes=1 \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
    "${dict[@]}" -artifact_prefix="$artifacts/" -print_final_stats=1 \
    "$work/corpus") 2>&1 | tee "$log"
status=${PIPESTATUS[0]}
set -e

found=$(findings)
echo "----"
grep -E '^#[0-9]+: cov:' "$log" | tail -n 1 || true
echo "corpus: $(find "$work/corpus" -type f | wc -l) inputs in $work/corpus"
if [[ -n $found || $status -ne 0 ]]; then
    echo "the $target fuzzer failed (exit $status); failing inputs, see also $log:" >&2
    echo "$found" >&2
    exit 1
fi
echo "$target: no crash in ${seconds}s"
