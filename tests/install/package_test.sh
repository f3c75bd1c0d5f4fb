#!/usr/bin/env bash
# Builds the Debian packages, checks them with lintian (no error, no warning
# without an override that says why), unpacks them into a scratch root the
# way dpkg installs them, and has the consumers use that root.
#
# Usage: package_test.sh SOURCE_TREE
set -euo pipefail
source=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/korva-package-test-XXXXXX")
trap 'rm -rf "$work"' EXIT

bash "$source/scripts/package.sh" "$work/dist" >/dev/null
for name in libkorva0 libkorva-dev korva-tools python3-korva; do
    [[ -f $(echo "$work/dist/${name}_"*.deb) ]] || { echo "package $name was not built" >&2; exit 1; }
done

# lintian's own exit status counts errors only; warnings fail here too.
if ! findings=$(lintian --fail-on error,warning "$work"/dist/*.changes 2>&1); then
    echo "$findings" >&2
    echo "lintian found errors or warnings in the packages" >&2
    exit 1
fi

mkdir "$work/root"
for deb in "$work"/dist/*.deb; do
    [[ $deb == *-dbgsym_* ]] || dpkg-deb -x "$deb" "$work/root"
done
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
[[ -f $work/root/usr/share/man/man1/korva-avi.1.gz ]] || { echo "korva-tools has no man page" >&2; exit 1; }
KORVA_RUN_LIBDIR="$work/root/usr/lib/$multiarch" bash "$here/consume.sh" "$work/root/usr" "$work" "$source"
