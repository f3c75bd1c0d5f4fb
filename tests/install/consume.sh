#!/usr/bin/env bash
# Builds the consumer program twice outside the tree, once with find_package
# and once with pkg-config, against the libkorva installed under PREFIX, and
# runs both; then runs the installed korva-avi and imports the installed
# Python package. Nothing of the build or source tree may reach them: they see
# the prefix alone. Where the installed programs carry no run path (as in the
# Debian packages, which rely on the system's library path), set
# KORVA_RUN_LIBDIR to the folder that holds libkorva.so.0.
#
# Usage: consume.sh PREFIX WORK_DIR SOURCE_TREE [BUILD_TREE]
set -euo pipefail
prefix=$1 work=$2 source=$3 build=${4:-}
here=$(cd "$(dirname "$0")" && pwd)
run_env=(env -u LD_LIBRARY_PATH)
[[ -n ${KORVA_RUN_LIBDIR:-} ]] && run_env+=(LD_LIBRARY_PATH="$KORVA_RUN_LIBDIR")

mkdir "$work/consumer"
cp "$here/consumer.cpp" "$here/CMakeLists.txt" "$work/consumer/"
expected="frames 2, 5x3, red 0.933333"

# find_package, from the prefix only.
cmake -S "$work/consumer" -B "$work/by-cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
    >/dev/null
cmake --build "$work/by-cmake" >/dev/null
got=$(cd "$work" && env -u LD_LIBRARY_PATH "$work/by-cmake/consumer" "$work/by-cmake.avi")
[[ $got == "$expected" ]] || { echo "find_package consumer printed '$got', not '$expected'" >&2; exit 1; }

# pkg-config, with the prefix's .pc file alone on the search path.
libdir=$(dirname "$(find "$prefix" -name korva.pc)")
flags=$(PKG_CONFIG_LIBDIR="$libdir" pkg-config --cflags --libs korva)
c++ -std=c++17 "$work/consumer/consumer.cpp" -o "$work/by-pkg-config" $flags -Wl,-rpath,"$(dirname "$libdir")"
got=$(cd "$work" && env -u LD_LIBRARY_PATH "$work/by-pkg-config" "$work/by-pkg-config.avi")
[[ $got == "$expected" ]] || { echo "pkg-config consumer printed '$got', not '$expected'" >&2; exit 1; }

# Both run against the installed library, and nothing names the trees.
for program in "$work/by-cmake/consumer" "$work/by-pkg-config"; do
    loads=$(env -u LD_LIBRARY_PATH ldd "$program")
    [[ $loads == *"libkorva.so.0 => $prefix/"* ]] || { echo "$program does not load the installed library" >&2; exit 1; }
done
trees=(-e "$source/korva")
[[ -n $build ]] && trees+=(-e "$build")
if grep -rqs "${trees[@]}" "$prefix" --include='*.cmake' --include='*.pc'; then
    echo "the installed package names the build or source tree" >&2
    exit 1
fi
[[ $("${run_env[@]}" "$prefix/bin/korva-avi" --version) == "korva-avi "* ]] || {
    echo "installed korva-avi does not run" >&2
    exit 1
}
# The Python package, where one was installed, imports from the prefix alone.
package=$(find "$prefix" -path '*-packages/korva' -type d)
if [[ -n $package ]]; then
    version=$(cd "$work" && "${run_env[@]}" PYTHONPATH="$(dirname "$package")" /usr/bin/python3 -c \
        'import korva; print(korva.__version__)')
    [[ -n $version ]] || { echo "the installed Python package does not import" >&2; exit 1; }
fi
echo "installed and consumed: $expected"
