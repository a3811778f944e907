#!/bin/bash
# SPDX-License-Identifier: MIT
# Builds and runs the consumers of tests/package/ against installed files only: the shared libraries, the
# static ones, a project that includes the sources, and the Debian packages, which ./dev package makes
# before. By CMake and by pkg-config, as C++17, 20 and 23, with g++ and with clang++.

set -euo pipefail
cd "$(dirname "$0")/.."

readonly packages=$PWD/build/package/packages
# Outside the project, so that no file of it is found by chance; the blank shows what isn't quoted.
work=$(mktemp -d --suffix=' consumers')
# pkg-config knows no blanks in a system root.
root=$(mktemp -d)
readonly work root
trap 'rm -rf "$work" "$root"' EXIT

# Their objects are shared between the runs.
launcher=-DCMAKE_CXX_COMPILER_LAUNCHER=$(command -v ccache || true)
readonly launcher

quietly()
{
    "$@" >"$work/log" 2>&1 || {
        cat "$work/log"
        echo "Failed: $*"
        return 1
    }
}

fail()
{
    echo "$*"
    return 1
}

# --- The consumers ---------------------------------------------------------------------------

# with_cmake PREFIX KIND COMPILER FULL: all standards; FULL is ON or OFF
with_cmake()
{
    local build=$work/cmake count
    rm -rf "$build"
    quietly cmake -S "$work/consumer" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$1" \
        -DCONSUMER_KIND="$2" -DCMAKE_CXX_COMPILER="$3" -DCONSUMER_FULL="$4" "$launcher"
    quietly cmake --build "$build"
    quietly ctest --test-dir "$build" --no-tests=error --output-on-failure
    if [[ $4 == ON ]]; then
        count=$(grep -c -e '-fnon-call-exceptions.* -c .*/consumer\.cpp' "$build/compile_commands.json")
        ((count == 3)) || fail "A consumer that refuses -fnon-call-exceptions has it, or another lacks it"
    fi
    echo "    CMake, $3"
}

# with_pkg_config PREFIX COMPILER STANDARD; the caller sets the search path of pkg-config
with_pkg_config()
{
    build_and_run "$@" qzSystem consumer.cpp "$work/consumer.bin"
    build_and_run "$@" qzSystemExt ext.cpp
    echo "    pkg-config, $2, C++$3"
}

# build_and_run PREFIX COMPILER STANDARD PACKAGE SOURCE [ARGUMENT...]
build_and_run()
{
    local prefix=$1 compiler=$2 standard=$3 package=$4 source=$5 flags library
    shift 5
    # pkg-config quotes blanks for a shell.
    eval "flags=($(pkg-config --cflags --libs "$package"))"
    quietly "$compiler" "-std=c++$standard" "$work/consumer/$source" "${flags[@]}" \
        -o "$work/consumer/program"
    library=$(find "$prefix" -name 'libqzSystem.*' -not -name '*.py' -print -quit)
    quietly env LD_LIBRARY_PATH="${library%/*}" "$work/consumer/program" "$@"
}

# test_consumers PREFIX KIND
test_consumers()
{
    with_cmake "$1" "$2" g++ ON
    with_cmake "$1" "$2" clang++ OFF
    with_pkg_config "$1" g++ 17
    with_pkg_config "$1" clang++ 2b  # the name of C++23 in clang 14
}

# --- What they are tested against -------------------------------------------------------------

# test_install KIND OPTION...: in a folder with a blank, which is moved after the installation
test_install()
{
    local kind=$1 build=build/install-$1 prefix="$work/$1 moved"
    shift
    echo "Installed, $kind libraries"
    quietly cmake --preset install -B "$build" -DCMAKE_INSTALL_PREFIX="$work/$kind" "$@"
    quietly cmake --build "$build"
    quietly cmake --install "$build"
    mv "$work/$kind" "$prefix"
    if grep -rqF "$work" "$prefix"; then
        grep -rlF "$work" "$prefix"
        fail "These files name the folder of the installation"
    fi
    python3 tools/check_recipes.py --cps "$prefix"/lib/cps/qzSystem.cps
    PKG_CONFIG_LIBDIR=$prefix/lib/pkgconfig test_consumers "$prefix" "$kind"
}

# Both kinds below one prefix: the components choose.
test_both_kinds()
{
    local kind build=$work/both
    echo "Both kinds below one prefix"
    for kind in static shared; do
        quietly cmake --install "build/install-$kind" --prefix "$work/both prefix"
    done
    for kind in shared static; do
        mkdir -p "$build-$kind"
        cat >"$build-$kind/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.22)
project(both CXX)
find_package(qzSystem 3.0 REQUIRED COMPONENTS $kind ext)
get_target_property(type qzSystem::ext TYPE)
string(TOUPPER $kind kind)
if(NOT type STREQUAL "\${kind}_LIBRARY")
    message(FATAL_ERROR "\${type} for the component $kind")
endif()
END
        quietly cmake -S "$build-$kind" -B "$build-$kind/build" -DCMAKE_PREFIX_PATH="$work/both prefix"
    done
}

# The configuration alone is among the tests; here the project is built.
test_embedding()
{
    echo "Included by another project"
    quietly cmake -S tests/embedding -B build/embedding -G Ninja -DQZ_PROJECT="$PWD" "$launcher" \
        -DCMAKE_BUILD_TYPE=Release
    quietly env CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1 cmake --build build/embedding
    quietly ctest --test-dir build/embedding --no-tests=error --output-on-failure
    quietly cmake --install build/embedding --prefix "$work/embedding"
    [[ $(cd "$work/embedding" && find . -type f) == ./bin/embedding ]] ||
        fail "More is installed than the project's own program"
}

test_debian_packages()
{
    local package library
    echo "Debian packages"
    for package in "$packages"/*.deb; do
        dpkg-deb -x "$package" "$root"
    done
    tools/check_pages.py "$root/usr/share/doc/libqzsystem-doc"
    library=$(find "$root" -name 'libqzSystem.so.3.0')
    [[ -f $root/usr/share/gdb/auto-load${library#"$root"}-gdb.py ]] ||
        fail "gdb would not find its printers for ${library#"$root"}"
    # The loader would find the second library's need by itself if the packages were installed.
    export PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=${library%/*}/pkgconfig
    export LD_LIBRARY_PATH=${library%/*}
    with_cmake "$root/usr" shared g++ ON
    with_pkg_config "$root/usr" g++ 17
    unset PKG_CONFIG_SYSROOT_DIR PKG_CONFIG_LIBDIR LD_LIBRARY_PATH
}

cp -r tests/package "$work/consumer"
test_debian_packages
test_install shared
test_install static -DBUILD_SHARED_LIBS=OFF
test_both_kinds
test_embedding
