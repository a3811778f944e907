#!/bin/bash
# SPDX-License-Identifier: MIT
# Prints the symbols that a shared object exports, demangled, each once: exported_symbols.sh FILE

set -euo pipefail

# The first constructor of a class and its second demangle to the same text.
nm -D --defined-only --demangle "$1" | sed -E 's/^[0-9a-f]* *[A-Za-z] //' | LC_ALL=C sort -u
