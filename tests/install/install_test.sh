#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds the consumer program
# twice outside the tree, once with find_package and once with pkg-config,
# and runs both against the installed library. Nothing of the build or source
# tree may reach them: they see the prefix alone.
#
# Usage: install_test.sh BUILD_DIR
set -euo pipefail
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/korva-install-XXXXXX")
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
mkdir "$work/consumer"
cp "$here/consumer.cpp" "$here/CMakeLists.txt" "$work/consumer/"
expected="frames 2, 5x3, red 0.933333"

# find_package, from the prefix only.
cmake -S "$work/consumer" -B "$work/by-cmake" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
    >/dev/null
cmake --build "$work/by-cmake" >/dev/null
got=$(cd "$work" && env -u LD_LIBRARY_PATH "$work/by-cmake/consumer" "$work/by-cmake.avi")
[[ $got == "$expected" ]] || { echo "find_package consumer printed '$got', not '$expected'" >&2; exit 1; }

# pkg-config, with the prefix's .pc file alone on the search path.
libdir=$(dirname "$(find "$work/prefix" -name korva.pc)")
flags=$(PKG_CONFIG_LIBDIR="$libdir" pkg-config --cflags --libs korva)
c++ -std=c++17 "$work/consumer/consumer.cpp" -o "$work/by-pkg-config" $flags -Wl,-rpath,"$(dirname "$libdir")"
got=$(cd "$work" && env -u LD_LIBRARY_PATH "$work/by-pkg-config" "$work/by-pkg-config.avi")
[[ $got == "$expected" ]] || { echo "pkg-config consumer printed '$got', not '$expected'" >&2; exit 1; }

# Both run against the installed library, and nothing names the trees.
for program in "$work/by-cmake/consumer" "$work/by-pkg-config"; do
    loads=$(ldd "$program")
    [[ $loads == *"libkorva.so.0 => $work/prefix/"* ]] || { echo "$program does not load the installed library" >&2; exit 1; }
done
if grep -rqs -e "$build" -e "$(cd "$here/../.." && pwd)/korva" "$work/prefix" --include='*.cmake' --include='*.pc'; then
    echo "the installed package names the build or source tree" >&2
    exit 1
fi
[[ $("$work/prefix/bin/korva-avi" --version) == "korva-avi "* ]] || { echo "installed korva-avi does not run" >&2; exit 1; }
# The Python package, where the build made it, imports from the prefix alone.
package=$(find "$work/prefix" -path '*-packages/korva' -type d)
if [[ -n $package ]]; then
    version=$(cd "$work" && env -u LD_LIBRARY_PATH PYTHONPATH="$(dirname "$package")" /usr/bin/python3 -c \
        'import korva; print(korva.__version__)')
    [[ -n $version ]] || { echo "the installed Python package does not import" >&2; exit 1; }
fi
echo "installed and consumed: $expected"
