#!/bin/bash
# Builds and runs the consumer of tests/package/ against installed files only, with CMake and with
# pkg-config, as C++17 and as C++20: against an install of the shared library, one of the static
# library, and the unpacked Debian packages. `./dev package` makes the packages before.

set -euo pipefail
cd "$(dirname "$0")/.."

readonly packages=$PWD/build/package/packages
# Outside the project, so that no file of it is found by chance.
work=$(mktemp -d)
readonly work
trap 'rm -rf "$work"' EXIT

quietly()
{
    "$@" >"$work/log" 2>&1 || {
        cat "$work/log"
        echo "Failed: $*"
        return 1
    }
}

# --- The consumer ----------------------------------------------------------------------------

# with_cmake PREFIX STANDARD
with_cmake()
{
    local build=$work/cmake
    rm -rf "$build"
    quietly cmake -S "$work/consumer" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$1" \
        -DCMAKE_CXX_STANDARD="$2" -DCMAKE_CXX_EXTENSIONS=OFF
    quietly cmake --build "$build"
    quietly ctest --test-dir "$build" --no-tests=error --output-on-failure
    if [[ $(grep -c -e '-fnon-call-exceptions.* -c .*/consumer\.cpp' "$build/compile_commands.json") != 1 ]]; then
        echo "The flag -fnon-call-exceptions belongs to one of the consumer's two programs"
        return 1
    fi
    echo "    C++$2 with CMake"
}

# with_pkg_config PREFIX STANDARD; the caller sets the search path of pkg-config
with_pkg_config()
{
    build_and_run "$1" "$2" qzSystem consumer.cpp "$work/consumer.bin"
    build_and_run "$1" "$2" qzSystemExt ext.cpp
    echo "    C++$2 with pkg-config"
}

# build_and_run PREFIX STANDARD PACKAGE SOURCE [ARGUMENT...]
build_and_run()
{
    local prefix=$1 standard=$2 package=$3 source=$4 flags
    shift 4
    read -ra flags <<<"$(pkg-config --cflags --libs "$package")"
    quietly g++ "-std=c++$standard" "$work/consumer/$source" "${flags[@]}" \
        -o "$work/consumer/program"
    quietly env LD_LIBRARY_PATH="$(dirname "$(find "$prefix" -name 'libqzSystem.*' -not -name '*.py' | head -n 1)")" \
        "$work/consumer/program" "$@"
}

test_consumer()
{
    local prefix=$1 standard
    cp -r tests/package "$work/consumer"
    for standard in 17 20; do
        with_cmake "$prefix" $standard
        with_pkg_config "$prefix" $standard
    done
    rm -rf "$work/consumer"
}

# --- What it is tested against ---------------------------------------------------------------

install_library()
{
    local name=$1
    shift
    quietly cmake --preset install -B "build/install-$name" -DCMAKE_INSTALL_PREFIX="$work/$name" "$@"
    quietly cmake --build "build/install-$name"
    quietly cmake --install "build/install-$name"
}

test_install()
{
    local name=$1
    echo "Installed, $name library"
    install_library "$@"
    PKG_CONFIG_LIBDIR=$work/$name/lib/pkgconfig test_consumer "$work/$name"
}

test_debian_packages()
{
    local root=$work/root package library
    echo "Debian packages"
    for package in "$packages"/*.deb; do
        dpkg-deb -x "$package" "$root"
    done
    tools/check_pages.py "$root/usr/share/doc/libqzsystem-doc"
    library=$(find "$root" -name 'libqzSystem.so.3.0')
    if [[ ! -f $root/usr/share/gdb/auto-load${library#"$root"}-gdb.py ]]; then
        echo "gdb would not find its printers for ${library#"$root"}"
        return 1
    fi
    export PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=${library%/*}/pkgconfig
    # The loader would find the second library's need by itself if the packages were installed.
    export LD_LIBRARY_PATH=${library%/*}
    test_consumer "$root/usr"
    unset PKG_CONFIG_SYSROOT_DIR PKG_CONFIG_LIBDIR LD_LIBRARY_PATH
}

# These tags are about packages that are uploaded to Debian, which these are not; the last one is
# about scripts that CPack writes.
readonly not_ours=(no-changelog initial-upload-closes-no-bugs copyright-without-copyright-notice
    no-symbols-control-file wrong-name-for-upstream-changelog maintscript-calls-ldconfig)

lint_debian_packages()
{
    echo "Lintian"
    local tags
    tags=$(IFS=, && echo "${not_ours[*]}")
    # Not the package with the debug information, which is all CPack's own making.
    lintian --allow-root --fail-on error,warning --suppress-tags "$tags" "$packages"/*.deb
}

ls -l "$packages"
lint_debian_packages
test_debian_packages
test_install shared
test_install static -DBUILD_SHARED_LIBS=OFF
