#!/bin/bash
# SPDX-License-Identifier: MIT
# Prints a code block of README.md: readme_block.sh LANGUAGE NUMBER, the NUMBERth block of LANGUAGE,
# from 1 on. The CI runs the commands of the README, so they stay right.

set -euo pipefail
cd "$(dirname "$0")/.."

awk -v language="$1" -v number="$2" '
    /^```/ && inside { exit }
    inside { print; found = 1 }
    $0 == "```" language { inside = (++count == number) }
    END { exit !found }
' README.md || {
    echo "README.md has no block $2 of $1" >&2
    exit 1
}
