#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every relative link and picture of the README, the guides and the other pages leads to a file, and to a
heading of it if the link names one. Every guide and every public class of the second library can be
reached from the README or the main page.

    check_pages.py           the pages of the repository
    check_pages.py FOLDER    the links only, of an installed copy
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
CODE = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\(([^)\s]+)\)")
HEADING = re.compile(r"^#+ +(.*)$", re.MULTILINE)
START_PAGES = ("README.md", "docs/mainpage.md")


def pages(root: Path) -> list[Path]:
    return sorted([*root.glob("*.md"), *root.glob("docs/*.md")])


def text_of(page: Path) -> str:
    return CODE.sub("", page.read_text(encoding="utf-8"))


def links(page: Path) -> list[str]:
    return [target for target in LINK.findall(text_of(page)) if "://" not in target]


def places(page: Path) -> set[str]:
    """The names that a heading has as the target of a link."""
    headings = HEADING.findall(text_of(page))
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def find_broken_links(root: Path) -> list[str]:
    problems = []
    for page in pages(root):
        for link in links(page):
            target, _, place = link.partition("#")
            path = (page.parent / target).resolve() if target else page
            if not path.is_file():
                problems.append(f"{page.relative_to(root)}: no file '{target}'")
            elif place and place not in places(path):
                problems.append(f"{page.relative_to(root)}: no heading '{link}'")
    return problems


def find_unreached() -> list[str]:
    problems = []
    reached = {(ROOT / name).parent / link for name in START_PAGES for link in links(ROOT / name)}
    for guide in sorted(ROOT.glob("docs/guide-*.md")):
        if guide not in reached:
            problems.append(f"{guide.relative_to(ROOT)}: no link from {' or '.join(START_PAGES)}")
    table = (ROOT / "docs/mainpage.md").read_text(encoding="utf-8")
    for header in sorted(ROOT.glob("include/qz/ext/*.h")):
        text = header.read_text(encoding="utf-8")
        names = re.findall(r"^class QZ_API (\w+)\b[^;]*\{", text, re.MULTILINE)
        if names and not any(f"qz::ext::{each}" in table for each in names):
            problems.append(f"docs/mainpage.md: no class of {header.name}")
    return problems


def main() -> int:
    folder = Path(sys.argv[1]).resolve() if len(sys.argv) > 1 else None
    problems = find_broken_links(folder or ROOT)
    if folder is None:
        problems += find_unreached()
    elif not pages(folder):
        problems.append(f"{folder}: no pages")
    print("\n".join(problems), end="\n" if problems else "")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
