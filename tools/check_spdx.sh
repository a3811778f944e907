#!/bin/bash
# Each source, script and CMake file names its licence in its first lines:
#     SPDX-License-Identifier: MIT
#
# check_spdx.sh          prints the files that don't
# check_spdx.sh --add    adds the line to them, after the first line of a script

set -euo pipefail
cd "$(dirname "$0")/.."

readonly identifier='SPDX-License-Identifier: MIT'
readonly first_lines=5

# Files that tests and fuzz targets read byte for byte have no such line.
files()
{
    git ls-files -z -- '*.cpp' '*.h' '*.h.in' '*.py' '*.sh' '*.cmake' '*.map' 'CMakeLists.txt' \
        '*/CMakeLists.txt' dev .ci/run ':!:fuzz/corpus' ':!:*/samples/*'
}

# comment FILE: the line as a comment of the file's language
comment()
{
    case $1 in
        *.cpp | *.h | *.h.in) echo "// $identifier" ;;
        *.map) echo "/* $identifier */" ;;
        *) echo "# $identifier" ;;
    esac
}

add()
{
    local file=$1 line
    line=$(comment "$file")
    if [[ $(head -c 2 "$file") == '#!' ]]; then
        sed -i "1a $line" "$file"
    else
        sed -i "1i $line" "$file"
    fi
}

missing=()
while IFS= read -r -d '' file; do
    [[ -f $file ]] || continue
    head -n $first_lines "$file" | grep -F "$identifier" >/dev/null || missing+=("$file")
done < <(files)

if [[ ${1:-} == --add ]]; then
    for file in "${missing[@]}"; do add "$file"; done
    echo "Added to ${#missing[@]} files"
    exit
fi
((${#missing[@]} == 0)) && exit
printf '%s\n' "${missing[@]}"
echo "${#missing[@]} files don't name their licence; tools/check_spdx.sh --add adds the line"
exit 1
