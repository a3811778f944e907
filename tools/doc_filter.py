#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints a page for Doxygen: doc_filter.py PAGE. Names of classes in backticks become links, and the
name of the file becomes that of the HTML page.

In the repository a page shows `qzMutex` as code. Doxygen links names with their namespace only, so it
gets a reference here.
"""

import re
import sys
from pathlib import Path

from check_index import classes_of_header
from cpp_text import ROOT

# A block of code, which stays as it is, or one name in backticks.
BLOCK_OR_NAME = re.compile(r"^```.*?^```$|^    .*$|`((?:qz::)?(?:\w+::)*\w+)(?:\(\))?`", re.MULTILINE | re.DOTALL)


def known_classes() -> dict[str, str]:
    """The full names of the classes, by each form in which a page may name them."""
    names = {}
    for path in (ROOT / "include/qz").rglob("*.h"):
        for full in classes_of_header(path):
            names[full] = full
            names[full.removeprefix("qz::")] = full
    return names


def label(path: Path) -> str:
    """The name of the page in the HTML, without its extension."""
    return path.stem.lower().replace("-", "_")


def main() -> int:
    path = Path(sys.argv[1])
    page = path.read_text(encoding="utf-8")
    # Readers of the repository would see the label in the heading.
    page = re.sub(r"\A(# .*)$", rf"\1 {{#{label(path)}}}", page, count=1, flags=re.MULTILINE)
    classes = known_classes()

    def link(match: re.Match) -> str:
        name = match[1] or ""
        scope, _, member = name.rpartition("::")
        full = classes.get(name) or (f"{classes[scope]}::{member}" if scope in classes else None)
        return f'<code>@ref {full} "{match[0].strip("`")}"</code>' if full else match[0]

    sys.stdout.write(BLOCK_OR_NAME.sub(link, page))
    return 0


if __name__ == "__main__":
    sys.exit(main())
