#!/bin/bash
# Runs the checks, all or the named ones: check.sh [NAME...]. `./dev check` installs what they need,
# and builds what they look at in build/release and build/clang.
#
# A failed check doesn't keep the others from running.

# Each check below is one command, as `set -e` has no force inside a condition.
set -euo pipefail
cd "$(dirname "$0")/.."

readonly library=build/release/libqzSystem.so

cpp_files()
{
    find include src tests examples bench fuzz \( -name '*.cpp' -o -name '*.h' \) -print0
}

#: format       C++ files are as clang-format writes them
check_format() { cpp_files | xargs -0 -n 16 -P "$(nproc)" clang-format-14 --dry-run -Werror; }

#: shell        shellcheck has nothing to say about the scripts
check_shell() { shellcheck -x dev .ci/run tools/*.sh tests/*/*.sh; }

#: includes     the folders of src/ include downwards, the public headers nothing of the system
check_includes() { tools/check_includes.py; }

#: messages     every text that the library can emit is asserted by a test
check_messages() { tools/check_messages.py; }

#: headers      each public header compiles alone
check_headers() { tools/check_headers.sh; }

#: exports      the shared object exports what abi/exported-symbols.txt lists
check_exports() { tools/check_exports.sh "$library"; }

#: calls        every exported function is called by a test
check_calls() { tools/check_calls.py "$library"; }

#: documented   every public declaration has a comment
check_documented() { cmake --build build/release --target qzSystemDocs; }

#: clang        library, tests and examples build with clang without a warning
check_clang() { cmake --build build/clang -j "$(nproc)"; }

#: tidy         clang-tidy has nothing to say about library and examples
check_tidy() { tools/check_tidy.sh build/clang; }

mapfile -t names < <(sed -n 's/^#: \([a-z]*\) .*/\1/p' "$0")
if (($#)); then names=("$@"); fi

failed=()
for name in "${names[@]}"; do
    printf '\n-- %s\n' "$(sed -n "s/^#: \($name .*\)/\1/p" "$0")"
    declare -F "check_$name" >/dev/null || {
        echo "check: no such check: $name" >&2
        exit 2
    }
    "check_$name" || failed+=("$name")
done

printf '\n'
if ((${#failed[@]})); then
    echo "Failed checks: ${failed[*]}"
    exit 1
fi
echo "All checks passed: ${names[*]}"
