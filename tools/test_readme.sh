#!/bin/bash
# SPDX-License-Identifier: MIT
# Builds and runs the first program of README.md with the README's own commands. The folder
# build/readme/ is the home folder of these commands.

set -euo pipefail
cd "$(dirname "$0")/.."

readonly block=$PWD/tools/readme_block.sh
readonly home=$PWD/build/readme

# Runs the lines of a shell block, and ends at the first that fails.
run_block()
{
    local text
    text=$("$block" sh "$1")
    printf '    $ %s\n' "${text//$'\n'/$'\n    $ '}"
    bash -euc "$text"
}

# The first two blocks have one command each, which the CI runs separately.
readonly install=3 build_with_cmake=4 build_with_pkg_config=5

rm -rf "$home"
mkdir -p "$home/first"
export CCACHE_DIR=${CCACHE_DIR:-$HOME/.cache/ccache} HOME=$home
run_block $install
"$block" cpp 1 >"$home/first/first.cpp"
"$block" cmake 1 >"$home/first/CMakeLists.txt"
cd "$home/first"
for way in $build_with_cmake $build_with_pkg_config; do
    # An exit status alone doesn't show that the program printed its line.
    run_block "$way" | tee "$home/output"
    grep -q 'INFO(first).* : forty-two is 42$' "$home/output"
done
