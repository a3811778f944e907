#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every class and namespace that the libraries export, and every class that a public header defines,
has a page in the reference: check_index.py TAG-FILE SHARED-OBJECT...

The tag file is Doxygen's list of its pages.
"""

import re
import sys
import xml.etree.ElementTree
from pathlib import Path

from check_calls import exported_names
from cpp_text import ROOT

SCOPES = ("class", "struct", "namespace")
# Beginnings of names that inline code of the headers uses, and callers do not.
PRIVATE = ("qz::ext::impl", "qz::impl::Variant")
FORWARD = re.compile(r"namespace [\w:]+ \{\n(?:(?:class|struct) \w+;\n)+\}\n")


def documented_scopes(tag_file: str) -> set[str]:
    folder = Path(tag_file).parent / "html"
    names = set()
    for compound in xml.etree.ElementTree.parse(tag_file).getroot().iter("compound"):
        page = compound.findtext("filename", "")
        if compound.get("kind") in SCOPES and (folder / page).is_file():
            names.add(compound.findtext("name", ""))
    return names


def exported_scopes(library: str) -> set[str]:
    scopes = set()
    for name, _ in exported_names(library):
        parts = name.split("::")
        scopes |= {"::".join(parts[:count]) for count in range(1, len(parts))}
    return scopes


def classes_of_header(path: Path) -> set[str]:
    """The classes of a namespace; a class inside another one is on that one's page as well."""
    names = set()
    namespaces: list[str] = []
    for line in FORWARD.sub("", path.read_text(encoding="utf-8")).splitlines():
        opened = re.match(r"namespace ([\w:]+) \{$", line)
        defined = re.match(r"(?:class|struct) (?:QZ_API )?(\w+)(?: final)?(?: :.*)? ?\{", line)
        if opened:
            namespaces.append(opened[1])
        elif re.match(r"\}  // namespace", line):
            namespaces.pop()
        elif defined:
            names.add("::".join([*namespaces, defined[1]]))
    return names


def main() -> int:
    documented = documented_scopes(sys.argv[1])
    wanted = set()
    for library in sys.argv[2:]:
        wanted |= exported_scopes(library)
    for path in (ROOT / "include/qz").rglob("*.h"):
        wanted |= classes_of_header(path)
    wanted = {name for name in wanted if not any(name.startswith(scope) for scope in PRIVATE)}
    missing = sorted(wanted - documented)
    for name in missing:
        print(f"{name} has no page in the reference")
    print(f"{len(wanted)} classes and namespaces, {len(missing)} without a page")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
