#!/usr/bin/env bash
# Builds the Debian packages libkorva0, libkorva-dev, korva-tools and
# python3-korva with dpkg-buildpackage, from a copy of the working tree so
# that the tree and its build directories stay as they are, and puts them in
# dist/ (or the folder given).
#
# Usage: scripts/package.sh [OUT_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
out=$(mkdir -p "${1:-dist}" && cd "${1:-dist}" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/korva-package-XXXXXX")
trap 'rm -rf "$work"' EXIT

# The files git knows, committed or not, without build output.
mkdir "$work/libkorva"
git ls-files -z --cached --others --exclude-standard | while IFS= read -r -d '' f; do
    [[ -e $f ]] && printf '%s\0' "$f"
done | xargs -0 cp --parents -t "$work/libkorva"

(cd "$work/libkorva" && DEB_BUILD_OPTIONS="parallel=$(nproc) ${DEB_BUILD_OPTIONS:-}" \
    dpkg-buildpackage -b -us -uc >"$work/build.log" 2>&1) || {
    tail -n 60 "$work/build.log" >&2
    echo "package.sh: dpkg-buildpackage failed; the last lines of its log are above" >&2
    exit 1
}
rm -f "$out"/*.deb "$out"/*.ddeb "$out"/*.changes "$out"/*.buildinfo
cp "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$out"/
cp "$work"/*.ddeb "$out"/ 2>/dev/null || true
ls "$out"
