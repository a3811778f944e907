#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The table of figures in README.md has the figures of docs/performance.md.

    readme_figures.py            fails if it hasn't
    readme_figures.py --update   writes the table anew
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
README = ROOT / "README.md"
TABLE = re.compile(r"(<!-- figures -->\n).*?(<!-- end of figures -->)", re.DOTALL)
HEAD = ["Work", "libqzSystem", "Compared with", "Ratio"]

# The row of the README, the heading and the row of the page. Each subject of interest, also those in
# which another library is faster.
ROWS = [
    ("100,000 log lines from 4 threads to a file", "Log", "100,000 lines, 4 producers"),
    ("the slowest of 100 log reports (p99)", "Log", "report, p99"),
    ("deep copy of a tree with 10,648 values", "Variant tree", "deep copy"),
    ("read 100 MB of CSV", "CSV", "100 MB to rows of text cells"),
    ("parse 1 MB of JSON records", "JSON", "parse records"),
    ("check 1 MB of mixed text for UTF-8", "UTF-8, search, replacement", "validate 1 MB, mixed"),
    ("write 1,000,000 binary records to memory", "Binary serialiser", "write to memory"),
    ("walk 52,000 files and folders", "Folders on tmpfs", "walk 52,000 entries"),
    ("start a program from a process of 1 GB", "Child processes", "nothing, parent of 1 GB"),
    ("save an ini file of 10,000 keys", "Ini files", "save 10,000 keys"),
]


def cells(line: str) -> list[str]:
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


def measured_row(page: str, heading: str, name: str) -> dict[str, str]:
    section = re.search(rf"^## {re.escape(heading)}.*?(?=^## |\Z)", page, re.MULTILINE | re.DOTALL)
    lines = [cells(line) for line in section[0].splitlines() if line.startswith("|")]
    for line in lines[2:]:
        if line[0] == name:
            return dict(zip(lines[0], line))
    raise KeyError(f"docs/performance.md has no row '{name}' in '{heading}'")


def make_table(page: str) -> str:
    table = [HEAD, ["---", "---:", "---:", "---:"]]
    for text, heading, name in ROWS:
        row = measured_row(page, heading, name)
        peer = row["against"]
        table.append([text, row["qz"], f"{row[peer]} ({peer})", row["ratio"]])
    return "".join(f"| {' | '.join(line)} |\n" for line in table)


def main() -> int:
    text = README.read_text(encoding="utf-8")
    page = (ROOT / "docs/performance.md").read_text(encoding="utf-8")
    table = make_table(page)
    updated = TABLE.sub(lambda match: match[1] + table + match[2], text)
    if sys.argv[1:] == ["--update"]:
        README.write_text(updated, encoding="utf-8")
    elif updated != text or not TABLE.search(text):
        print("README.md: its figures are not those of docs/performance.md; "
              "write them with tools/readme_figures.py --update")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
