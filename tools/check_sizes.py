#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""No source file or public header has more than 300 lines, unless long-files.txt lists it with a
reason. A line there that is no longer necessary is an error too."""

import sys

from cpp_text import read_exceptions, relative, sources

EXCEPTIONS = "long-files.txt"
MOST_LINES = 300


def main() -> int:
    exceptions = read_exceptions(EXCEPTIONS)
    # Without the line that names the licence.
    sizes = {relative(path): path.read_text().count("\n") - 1 for path in sources("src", "include")}
    long_files = {name for name, lines in sizes.items() if lines > MOST_LINES}
    problems = [
        f"{name}: {sizes[name]} lines, more than {MOST_LINES}"
        for name in sorted(long_files - set(exceptions))
    ]
    problems += [
        f"tools/{EXCEPTIONS}: no longer necessary: {name}"
        for name in sorted(set(exceptions) - long_files)
    ]
    for problem in problems:
        print(problem)
    print(f"{len(sizes)} files, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
