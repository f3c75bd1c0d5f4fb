#!/usr/bin/env bash
# Writes the ABI of a built libkorva.so.0 as abigail XML: the exported symbols
# and the types that the public headers (those korva/korva.h reaches) declare,
# without paths of the machine that built it. Refreshing the stored baseline,
# when a change of the ABI is meant (an added symbol, or a new SONAME):
#
#   scripts/abi-dump.sh build/libkorva.so.0 abi/libkorva.so.0.abi
#
# The library must be built with debugging information (RelWithDebInfo).
set -euo pipefail
library=$1 out=$2
root=$(cd "$(dirname "$0")/.." && pwd)
headers=()
for header in $(cd "$root" && ${CXX:-c++} -std=c++17 -I. -MM korva/korva.h | tr -d '\\' | tr ' ' '\n' | grep '^korva/'); do
    headers+=(--header-file "$root/$header")
done
abidw --no-corpus-path --no-comp-dir-path --no-show-locs --drop-private-types --type-id-style hash \
    "${headers[@]}" --out-file "$out" "$library"
