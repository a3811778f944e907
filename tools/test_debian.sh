#!/bin/bash
# SPDX-License-Identifier: MIT
# The Debian packages that `./dev package` makes: lintian reports nothing, each has what it promises, and
# root installs them, uses them, removes them, and finds no file of them afterwards. test_debian.sh FOLDER

set -euo pipefail
cd "$(dirname "$0")/.."

folder=$(realpath "$1")
readonly folder
mapfile -t packages < <(find "$folder" -maxdepth 1 -name '*.deb' | sort)
work=$(mktemp -d)
readonly work
names=()
trap 'clean_up' EXIT

fail()
{
    echo "$*"
    exit 1
}

quietly()
{
    "$@" >"$work/log" 2>&1 || {
        cat "$work/log"
        fail "Failed: $*"
    }
}

clean_up()
{
    rm -rf "$work"
    if ((${#names[@]})); then dpkg --purge "${names[@]}" >/dev/null 2>&1 || true; fi
}

field() { dpkg-deb -f "$1" "$2"; }

contents() { dpkg-deb --fsys-tarfile "$1" | tar -t; }

expect_packages()
{
    local expected="libqzsystem-dev libqzsystem-doc" found
    if compgen -G 'src/tools/qz-*/*.cpp' >/dev/null; then expected+=" libqzsystem-tools"; fi
    expected+=" libqzsystem3.0 libqzsystemext3.0"
    found=$(for package in "${packages[@]}"; do field "$package" Package; done | xargs)
    [[ $found == "$expected" ]] || fail "The packages are $found instead of $expected"
}

# expect_documents PACKAGE
expect_documents()
{
    local name document
    name=$(field "$1" Package)
    [[ -z $(field "$1" Homepage) ]] || fail "$name has a home page, and the project has none"
    for document in copyright changelog.Debian.gz; do
        contents "$1" | grep -x "./usr/share/doc/$name/$document" >/dev/null || fail "$name: no $document"
    done
    case $name in
        *3.0) dpkg-deb -I "$1" symbols | grep '@Base 3\.0\.0$' >/dev/null || fail "$name: no symbols" ;;
        *-tools) expect_manual_pages "$1" ;;
    esac
}

# Each command of the package has its page.
expect_manual_pages()
{
    diff <(contents "$1" | sed -n 's|^./usr/bin/\(.\)|\1|p' | sort) \
        <(contents "$1" | sed -n 's|^./usr/share/man/man1/\(.*\)\.1\.gz$|\1|p' | sort) ||
        fail "The commands and the pages of their manual are not the same"
}

# What the packages would leave: all that is no folder, and the folders that they brought.
left_files()
{
    local path
    while read -r path; do
        if [[ -e $path || -L $path ]]; then echo "$path"; fi
    done <"$work/files"
}

test_installation()
{
    local command
    for package in "${packages[@]}"; do contents "$package"; done | sed 's|^\.||' | sort -u |
        while read -r path; do
            # Folders that the system has already stay.
            [[ $path == */ && -d $path ]] || echo "${path%/}"
        done >"$work/files"
    [[ -z $(left_files) ]] || fail "These files are there already: $(left_files | head -n 3)"
    for package in "${packages[@]}"; do names+=("$(field "$package" Package)"); done

    quietly dpkg --install "${packages[@]}"
    # No path leads to the files but those of the system.
    for library in qzSystem qzSystemExt; do
        ldconfig -p | grep "lib$library\.so\.3\.0 " >/dev/null || fail "The loader doesn't find lib$library"
    done
    quietly cmake -S tests/package -B "$work/build" -G Ninja -DCONSUMER_KIND=shared \
        -DCONSUMER_FULL=ON
    quietly cmake --build "$work/build" --target consumer_17 consumer_of_ext_17
    quietly ctest --test-dir "$work/build" -R '_17$' --no-tests=error --output-on-failure
    while read -r command; do
        quietly "$command" --help
    done < <(grep '^/usr/bin/' "$work/files" || true)

    quietly dpkg --purge "${names[@]}"
    names=()
    [[ -z $(left_files) ]] || fail "These files are left: $(left_files)"
    if ldconfig -p | grep 'libqzSystem.* => /\(usr/\)\?lib/' >/dev/null; then fail "The loader still lists the libraries"; fi
}

echo "Lintian"
# Not the packages with the debug information, which are all CPack's own making.
lintian --allow-root --fail-on error,warning "${packages[@]}"
echo "Contents"
expect_packages
for package in "${packages[@]}"; do expect_documents "$package"; done
if ((EUID != 0)); then
    echo "Not root: the packages are not installed"
    exit
fi
echo "Installation and removal"
test_installation
