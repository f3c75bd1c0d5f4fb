#!/usr/bin/env bash
# Times `korva-avi repair` of a 1 GB file against `cp` of the same file, both
# from the page cache, in turns over a few rounds, and prints the best times
# and their ratio. Run after a build:
#
#     bash bench/repair_vs_cp.sh [build/tools/korva-avi] [ROUNDS]
set -euo pipefail
tool=${1:-build/tools/korva-avi}
rounds=${2:-3}
work=$(mktemp -d "${TMPDIR:-/tmp}/korva-repair-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT

# 1920x1080 at 25 frames a second with 44.1 kHz stereo: 6.7 s make 1 GB.
"$tool" testpattern "$work/in.avi" --width 1920 --height 1080 --duration 6.7 >/dev/null
cat "$work/in.avi" >/dev/null

best() { sort -g | head -n 1; }
seconds() {
    local start
    start=$(date +%s.%N)
    "$@" >/dev/null
    awk -v a="$start" -v b="$(date +%s.%N)" 'BEGIN { printf "%.3f\n", b - a }'
}
cp_times=() repair_times=()
for ((i = 0; i < rounds; i++)); do
    sync
    cp_times+=("$(seconds cp "$work/in.avi" "$work/copy.avi")")
    rm -f "$work/copy.avi"
    sync
    repair_times+=("$(seconds "$tool" repair "$work/in.avi" "$work/out.avi")")
    rm -f "$work/out.avi"
done
cp_best=$(printf '%s\n' "${cp_times[@]}" | best)
repair_best=$(printf '%s\n' "${repair_times[@]}" | best)
echo "file: $(stat -c %s "$work/in.avi") bytes"
echo "cp:     ${cp_best} s (best of $rounds)"
echo "repair: ${repair_best} s (best of $rounds)"
awk -v r="$repair_best" -v c="$cp_best" 'BEGIN { printf "repair / cp: %.2f\n", r / c }'
