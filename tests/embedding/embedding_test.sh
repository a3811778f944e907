#!/bin/bash
# SPDX-License-Identifier: MIT
# A project that includes this one finds all of its own settings unchanged, and gets no tests and no
# installed files that it did not ask for. embedding_test.sh PROJECT-FOLDER

set -euo pipefail

folder=$(mktemp -d)
readonly folder project=$1
trap 'rm -rf "$folder"' EXIT

fail()
{
    echo "embedding: $*" >&2
    exit 1
}

# configure NAME OPTION...
configure()
{
    cmake -G Ninja -S "$project/tests/embedding" -B "$folder/a build/$1" \
        -DQZ_PROJECT="$project" "${@:2}" \
        >"$folder/log" 2>&1 || {
        cat "$folder/log"
        fail "$1: the configuration failed"
    }
}

# expect_unchanged NAME OPTION...
expect_unchanged()
{
    local build="$folder/a build/$1" tests
    configure "$@"
    diff "$build/before" "$build/after" || fail "$1: settings of the including project changed"
    tests=$(ctest --test-dir "$build" -N | sed -n 's/^ *Test *#[0-9]*: //p')
    [[ $tests == embedding ]] || fail "$1: not the tests of the including project: $tests"
    # Only what the first CMakeLists.txt asks for is installed.
    ! grep -rqE 'file\(INSTALL .*(qz|libqzSystem)' "$build/library/cmake_install.cmake" ||
        fail "$1: the library is installed unasked"
}

expect_unchanged added
expect_unchanged added-static -DBUILD_SHARED_LIBS=OFF
expect_unchanged fetched -DQZ_WAY=fetch
# A second configuration, where the cache has values, changes nothing either.
expect_unchanged fetched -DQZ_WAY=fetch

configure installed -DQZ_INSTALL=ON
grep -q 'libqzSystem.so' "$folder/a build/installed/library/cmake_install.cmake" ||
    fail "QZ_INSTALL=ON installs no library"
