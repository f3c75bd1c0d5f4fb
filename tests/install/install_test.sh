#!/usr/bin/env bash
# Installs the build into a scratch prefix and has the consumers use it.
#
# Usage: install_test.sh BUILD_DIR
set -euo pipefail
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/korva-install-XXXXXX")
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
bash "$here/consume.sh" "$work/prefix" "$work" "$(cd "$here/../.." && pwd)" "$build"
