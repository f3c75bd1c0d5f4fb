#!/usr/bin/env bash
# Guards the ABI of libkorva.so.0. The library exports its public surface
# only, and compared with the stored baseline no symbol or type has gone or
# changed; added symbols are allowed.
#
# Usage: abi_test.sh LIBRARY BASELINE
set -euo pipefail
library=$1 baseline=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/korva-abi-XXXXXX")
trap 'rm -rf "$work"' EXIT

# Kernels, tables, helpers and the template code of the standard library and
# Boost must stay inside. (Type information of thrown types may be exported.)
# The name is what stands before the parameter list.
leaked=$(nm -DC --defined-only "$library" | cut -c20- | grep -v -e '^typeinfo' -e '^vtable' |
    sed -E 's/\(.*//' | grep -E '(^| )(korva::video|korva::detail|avi::repack|audio|std|boost)::' || true)
if [[ -n $leaked ]]; then
    echo "libkorva exports symbols that are not part of its public surface:" >&2
    echo "$leaked" | head -n 20 >&2
    echo "(mark public declarations with KORVA_API; keep the rest out, or local in cmake/korva.map)" >&2
    exit 1
fi

bash "$root/scripts/abi-dump.sh" "$library" "$work/current.abi"
status=0
abidiff --no-added-syms "$baseline" "$work/current.abi" >"$work/report" || status=$?
if ((status != 0)); then
    cat "$work/report" >&2
    cat >&2 <<MESSAGE
The ABI of libkorva.so.0 has changed against the stored baseline (abidiff exit $status):
symbols or types above were removed or changed. If this is not meant, undo it.
If it is meant, either
  - the change only adds symbols: refresh the baseline with
      scripts/abi-dump.sh $library abi/libkorva.so.0.abi
  - or it breaks the ABI: raise the SONAME (SOVERSION in CMakeLists.txt and the
    package name libkorvaN in debian/), then refresh the baseline the same way.
MESSAGE
    exit 1
fi
echo "ABI of $(basename "$library") matches the baseline; exports are the public surface only"
