#!/usr/bin/env python3
"""Every relative link of README, guides and other pages leads to a file of the project, and every
guide and every public class of the second library can be reached from the README or the main page.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
LINK = re.compile(r"\]\(([^)\s]+)\)")
START_PAGES = ("README.md", "docs/mainpage.md")


def pages() -> list[Path]:
    return sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")])


def links(page: Path) -> list[str]:
    targets = LINK.findall(page.read_text(encoding="utf-8"))
    return [target.split("#")[0] for target in targets if "://" not in target]


def find_problems() -> list[str]:
    problems = []
    reached = set()
    for page in pages():
        name = page.relative_to(ROOT)
        for target in filter(None, links(page)):
            path = (page.parent / target).resolve()
            if not path.is_file():
                problems.append(f"{name}: no file '{target}'")
            if str(name) in START_PAGES:
                reached.add(path)
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
    problems = find_problems()
    print("\n".join(problems), end="\n" if problems else "")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
