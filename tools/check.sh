#!/bin/bash
# SPDX-License-Identifier: MIT
# Runs all checks or the named ones: check.sh [NAME...]; check.sh --list prints their names.
# `./dev check` installs the programs that they use, and builds the library and the commands of
# clang in build/release and build/clang.
#
# After a failed check the others still run. The seconds of each are printed at the end.

# Each check below is one command, as `set -e` has no effect inside a condition.
set -euo pipefail
cd "$(dirname "$0")/.."

readonly folder=build/release
readonly libraries=("$folder/libqzSystem.so" "$folder/libqzSystemExt.so")

cpp_files()
{
    find include src tests examples bench fuzz \( -name '*.cpp' -o -name '*.h' \) -print0
}

#: format       C++ files are as clang-format writes them
check_format() { cpp_files | xargs -0 -n 16 -P "$(nproc)" clang-format-14 --dry-run -Werror; }

#: shell        shellcheck reports nothing about the scripts
check_shell() { shellcheck -x dev .ci/run tools/*.sh tests/*/*.sh; }

#: includes     folders of src/ include lower ones only, src/ext/ public headers of the first library
#:              only, public headers no system header
check_includes() { tools/check_includes.py; }

#: sizes        no source file has more than 300 lines without a reason
check_sizes() { tools/check_sizes.py; }

#: spdx         each file names its licence
check_spdx() { tools/check_spdx.sh; }

#: messages     every text that the library can emit is asserted by a test
check_messages() { tools/check_messages.py; }

#: pages        links of README and guides lead to files, all guides are linked, and the figures of
#:              the README are those of docs/performance.md
check_pages() { tools/check_pages.py && tools/readme_figures.py; }

#: samples      every C++ sample of pages and headers is compiled by a test
check_samples() { tools/doc_samples.py --check; }

#: headers      each public header compiles alone
check_headers() { tools/check_headers.sh; }

#: links        a program links with the library, with and without optimisation
check_links() { tools/check_links.sh "${libraries[0]}"; }

#: exports      the shared objects export what the lists in abi/ name
check_exports() { tools/check_exports.sh "$folder"; }

#: private      private members of exported classes are not exported
check_private() { tools/check_private.py "${libraries[@]}"; }

#: calls        every exported function is called by a test
check_calls() { tools/check_calls.py "${libraries[@]}"; }

#: documented   every public declaration has a comment, every class and namespace a page, and no link
#:              of the pages is broken
check_documented()
{
    cmake --build build/release --target qzSystemDocs &&
        tools/check_index.py "$folder/qzSystem.tag" "${libraries[@]}" &&
        tools/check_html.py "$folder/html" "$folder/qzSystem.tag"
}

#: clang        library, tests and examples build with clang without a warning
check_clang() { cmake --build build/clang -j "$(nproc)"; }

#: tidy         clang-tidy reports nothing about library and examples
check_tidy() { tools/check_tidy.sh build/clang; }

mapfile -t known < <(sed -n 's/^#: \([a-z][a-z]*\) .*/\1/p' "$0")
names=("${known[@]}")
if [[ $* == --list ]]; then
    printf '%s\n' "${known[@]}"
    exit
fi
if (($#)); then names=("$@"); fi

# A wrong name is found before the first check takes its minutes.
for name in "${names[@]}"; do
    [[ " ${known[*]} " == *" $name "* ]] || {
        echo "check: no such check: $name (there are: ${known[*]})" >&2
        exit 2
    }
done

failed=()
seconds=()
for name in "${names[@]}"; do
    printf '\n-- %s\n' "$(sed -n "s/^#: \($name .*\)/\1/p" "$0")"
    begin=$SECONDS
    "check_$name" || failed+=("$name")
    seconds+=("$(printf '%5d s  %s' $((SECONDS - begin)) "$name")")
done

printf '\n'
printf '%s\n' "${seconds[@]}" ''
if ((${#failed[@]})); then
    echo "Failed checks: ${failed[*]}"
    exit 1
fi
echo "All checks passed: ${names[*]}"
