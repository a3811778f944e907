#!/bin/bash
# SPDX-License-Identifier: MIT
# What the script for daily work promises without building anything. dev_test.sh DEV

set -euo pipefail

folder=$(mktemp -d)
readonly folder
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/a clone"
cp "$1" "$folder/a clone/dev"
cd "$folder/a clone"

fail()
{
    echo "dev: $*" >&2
    exit 1
}

# expect STATUS PATTERN ARGUMENT...: runs the script from another folder; PATTERN is in its output.
expect()
{
    local wanted=$1 pattern=$2 status=0
    shift 2
    (cd / && "$folder/a clone/dev" "$@") >"$folder/out" 2>&1 || status=$?
    ((status == wanted)) || fail "status $status instead of $wanted for: $* ($(cat "$folder/out"))"
    grep -q -- "$pattern" "$folder/out" ||
        fail "nothing like '$pattern' for: $* ($(cat "$folder/out"))"
}

for arguments in "" help --help -h; do
    # shellcheck disable=SC2086
    expect 0 '^Usage: ./dev VERB' $arguments
done
while read -r verb; do
    expect 0 "^  $verb\b" "$verb" --help
    expect 0 "^  $verb\b" "$verb" -h
done < <(sed -n 's/^verb_\([a-z]*\)()$/\1/p' dev)
expect 1 'no such verb: tset' tset
for verb in test asan tsan coverage check docs package install uninstall clean format build; do
    expect 1 '^dev: ' "$verb" --unknown
    [[ ! -e build ]] || fail "$verb began before its arguments were checked"
done
expect 1 'PREFIX is empty' install ''
expect 1 '/dev/null is no folder' install /dev/null/qz

# --- Paths in arguments begin where the user is; programs of this test stand in for what would be built

mkdir -p "$folder/programs" "$folder/else where" build/demo/examples bench
printf '#!/bin/sh\necho installed\n' >"$folder/programs/dpkg-query"
printf '#!/bin/sh\n' >"$folder/programs/cmake"
# shellcheck disable=SC2016
printf '#!/bin/sh\necho "in $PWD with $*"\n' | tee "$folder/programs/python3" >build/demo/examples/recorder
: >bench/run.py
chmod +x "$folder/programs/"* build/demo/examples/recorder

# expect_elsewhere PATTERN ARGUMENT...
expect_elsewhere()
{
    local pattern=$1
    shift
    (cd "$folder/else where" && PATH=$folder/programs:$PATH "$folder/a clone/dev" "$@") \
        >"$folder/out" 2>&1 || fail "no success for: $* ($(cat "$folder/out"))"
    grep -q -- "$pattern" "$folder/out" ||
        fail "nothing like '$pattern' for: $* ($(cat "$folder/out"))"
}
expect_elsewhere "in $folder/else where with .* text" demo text
expect_elsewhere "--markdown $folder/else where/table" bench --markdown table
rm -rf build bench

# --- Without rights: a path of this test's programs decides whether there is sudo, and what it does

# All programs of the system but those that this test must be sure of.
mkdir "$folder/bin"
ln -s /usr/bin/* "$folder/bin/"
rm -f "$folder/bin/"{sudo,apt-get,dpkg-query}
printf '#!/bin/sh\n' >"$folder/bin/dpkg-query"  # no package is installed
printf '#!/bin/sh\n' >"$folder/bin/apt-get"
chmod +x "$folder/bin/"{dpkg-query,apt-get}

# expect_refusal PATTERNS ARGUMENT...: a user without rights gets the lines that PATTERNS has, one a line,
# and nothing is built.
expect_refusal()
{
    local patterns=$1 pattern status=0 command=(env "PATH=$folder/bin" "$BASH" ./dev)
    shift
    if ((EUID == 0)); then
        command=(setpriv --reuid=65534 --regid=65534 --clear-groups "${command[@]}")
    fi
    "${command[@]}" "$@" >"$folder/out" 2>&1 </dev/null || status=$?
    ((status == 1)) || fail "status $status instead of 1 without rights: $* ($(cat "$folder/out"))"
    while read -r pattern; do
        grep -q -- "$pattern" "$folder/out" ||
            fail "nothing like '$pattern' without rights: $* ($(cat "$folder/out"))"
    done <<<"$patterns"
    [[ ! -e build ]] || fail "something is left without rights: $*"
}

chmod 755 "$folder"
install_line='apt-get install --no-install-recommends g++ cmake ninja-build libutfcpp-dev'
expect_refusal "^dev: packages are missing, and you are not root and there is no sudo: g++ cmake
$install_line\$
Nothing was built" demo
expect_refusal 'no right to write to /usr, and you are not root and there is no sudo; choose another PREFIX' \
    install /usr/qz
printf '#!/bin/sh\nexit 1\n' >"$folder/bin/sudo"
chmod +x "$folder/bin/sudo"
expect_refusal "^dev: packages are missing, and sudo refused: g++ cmake
$install_line\$" demo
expect_refusal 'no right to write to /usr, and sudo refused; choose another PREFIX' install /usr/qz
printf '#!/bin/sh\nexec "$@"\n' >"$folder/bin/sudo"
printf '#!/bin/sh\nexit 100\n' >"$folder/bin/apt-get"
expect_refusal "^dev: packages are missing, and apt-get could not install them: g++ cmake
$install_line\$" demo
rm "$folder/bin/apt-get"
expect_refusal 'there is no apt-get: g++ cmake
docs/building.md' demo

# --- With sudo, but into a folder of the user's own: sudo installs packages, and nothing else

printf '#!/bin/sh\n' | tee "$folder/bin/apt-get" >"$folder/bin/true-cmake"
chmod +x "$folder/bin/apt-get" "$folder/bin/true-cmake"
ln -sf true-cmake "$folder/bin/cmake"
mkdir -p build/install "$folder/own"
touch build/install/CMakeCache.txt "$folder/commands"
# shellcheck disable=SC2016
printf '#!/bin/sh\necho "$@" >>"%s/commands"\n' "$folder" >"$folder/bin/sudo"
command=(env "PATH=$folder/bin" "$BASH" ./dev install "$folder/own/qz")
if ((EUID == 0)); then
    chown -R 65534:65534 build "$folder/own" "$folder/commands"
    command=(setpriv --reuid=65534 --regid=65534 --clear-groups "${command[@]}")
fi
"${command[@]}" >"$folder/out" 2>&1 </dev/null || fail "no success for an own folder: $(cat "$folder/out")"
grep -q 'apt-get install' "$folder/commands" || fail "no package was installed: $(cat "$folder/commands")"
if grep cmake "$folder/commands" | grep -qv 'apt-get install'; then
    fail "root installs into a folder of the user: $(cat "$folder/commands")"
fi
rm -rf build

# --- Uninstall, of files that an installation has listed

expect 1 'nothing is installed from this folder' uninstall
prefix="$folder/a prefix"
mkdir -p build/install "$prefix/lib/pkgconfig" "$prefix/share/doc/lib" "$prefix/share/other"
touch "$prefix/lib/lib.so" "$prefix/lib/pkgconfig/lib.pc" "$prefix/share/doc/lib/page"
touch "$prefix/share/other/page"
(cd "$prefix" && find "$PWD/lib" "$PWD/share/doc" -type f) >build/install/install_manifest.txt
echo "CMAKE_INSTALL_PREFIX:PATH=$prefix" >build/install/CMakeCache.txt
expect 0 'Nothing of the library is left' uninstall
[[ $(cd "$prefix" && find . -type f) == ./share/other/page ]] || fail "other files are left or gone"
[[ ! -e $prefix/lib && ! -e $prefix/share/doc ]] || fail "empty folders are left"
expect 1 'nothing is installed from this folder' uninstall
