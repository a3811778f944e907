#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""No link of the HTML pages is broken, the main page leads to every guide, and every name that a page
writes as `qz::...` exists: check_html.py HTML-FOLDER TAG-FILE
"""

import html.parser
import re
import sys
import urllib.parse
import xml.etree.ElementTree
from pathlib import Path

from doc_filter import label
from doc_samples import FENCE, ROOT, line_at, pages

# Doxygen 1.9 links to a list that it leaves out if all of the list's classes are private.
LEFT_OUT = {"nested-classes"}
NAME = re.compile(r"\bqz::\w+(?:::~?\w+)*")


class Page(html.parser.HTMLParser):
    """The links of a page and the places in it that links may lead to."""

    def __init__(self, path: Path) -> None:
        super().__init__()
        self.links: set[str] = set()
        self.places = {"", "top"}
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag: str, attrs: list) -> None:
        for name, value in attrs:
            if name in ("href", "src", "data") and value:
                self.links.add(value)
            elif name in ("id", "name") and value:
                self.places.add(value)


def find_broken_links(folder: Path, read: dict[str, Page]) -> list[str]:
    problems = []
    for name, page in sorted(read.items()):
        for link in sorted(page.links):
            if re.match(r"[a-z]+:", link):
                continue
            target, _, place = link.partition("#")
            target = str(Path(name).parent / urllib.parse.unquote(target)) if target else name
            if not (folder / target).is_file():
                problems.append(f"{name}: no file {target}")
            elif target in read and urllib.parse.unquote(place) not in read[target].places | LEFT_OUT:
                problems.append(f"{name}: no place {link}")
    return problems


def find_guides_without_link(main_page: Page) -> list[str]:
    reached = {link.partition("#")[0] for link in main_page.links}
    problems = []
    for guide in sorted(ROOT.glob("docs/guide-*.md")):
        if f"{label(guide)}.html" not in reached:
            problems.append(f"docs/mainpage.md: its page has no link to {guide.name}")
    return problems


def known_names(tag_file: str) -> set[str]:
    names = set()
    for compound in xml.etree.ElementTree.parse(tag_file).getroot().iter("compound"):
        if compound.get("kind") not in ("class", "struct", "namespace"):
            continue
        scope = compound.findtext("name", "")
        names.add(scope)
        for member in compound.iter("member"):
            names.add(f"{scope}::{member.findtext('name', '')}")
    return names


def find_unknown_names(known: set[str]) -> list[str]:
    problems = []
    for path in pages():
        text = path.read_text(encoding="utf-8")
        # Code is compiled; its place stays, so that lines count.
        text = FENCE.sub(lambda match: "\n" * match[0].count("\n"), text)
        for match in NAME.finditer(text):
            if match[0] not in known:
                problems.append(f"{path.relative_to(ROOT)}:{line_at(text, match.start())}: "
                                f"there is no {match[0]}")
    return problems


def main() -> int:
    folder = Path(sys.argv[1])
    read = {str(path.relative_to(folder)): Page(path) for path in folder.rglob("*.html")}
    problems = (find_broken_links(folder, read) + find_guides_without_link(read["index.html"])
                + find_unknown_names(known_names(sys.argv[2])))
    print("\n".join(problems), end="\n" if problems else "")
    print(f"{len(read)} pages, {sum(len(page.links) for page in read.values())} links, "
          f"{len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
