#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every exported symbol is a public or protected declaration of the public headers, or the table or
type information of a class: check_private.py SHARED-OBJECT...

A private member of an exported class is exported too unless QZ_LOCAL hides it. clang reports the
access and the mangled name of every declaration, which are compared with the symbols. Members that
programs reach through inline code of a header are listed in private-exports.txt, with a reason.
"""

import json
import re
import subprocess
import sys
from typing import Any, Iterator

from cpp_text import ROOT, read_exceptions, relative, sources

EXCEPTIONS = "private-exports.txt"
TABLE_OR_TYPE = re.compile(r"_ZT[VITSChv]")
# A constructor has up to three symbols, and so has a destructor. clang names only one of them.
VARIANT = re.compile(r"(?<=[CD])[0-5](?=E)")
CLASSES = ("CXXRecordDecl", "ClassTemplateSpecializationDecl")
MEMBERS = ("CXXMethodDecl", "CXXConstructorDecl", "CXXDestructorDecl", "CXXConversionDecl",
           "FunctionDecl", "VarDecl")


def normalized(symbol: str) -> str:
    return VARIANT.sub("*", symbol)


def demangled(symbols: list[str]) -> dict[str, str]:
    output = subprocess.run(["c++filt"], input="\n".join(symbols), check=True, capture_output=True,
                            text=True).stdout
    return dict(zip(symbols, output.splitlines()))


def exported_symbols(library: str) -> list[str]:
    output = subprocess.run(["nm", "-D", "--defined-only", "--format=posix", library], check=True,
                            capture_output=True, text=True).stdout
    return [line.split()[0] for line in output.splitlines() if line.startswith("_Z")]


def syntax_trees() -> Iterator[dict[str, Any]]:
    """What clang has read of the public headers, as one tree for each top-level declaration."""
    headers = [relative(path) for path in sources("include")]
    text = "".join(f'#include <{name.removeprefix("include/")}>\n' for name in headers)
    output = subprocess.run(
        ["clang++", "-std=c++17", f"-I{ROOT}/include", "-fsyntax-only", "-Xclang",
         "-ast-dump=json", "-Xclang", "-ast-dump-filter=qz", "-x", "c++", "-"],
        input=text, check=True, capture_output=True, text=True).stdout
    decoder = json.JSONDecoder()
    position = 0
    while (position := output.find("{", position)) >= 0:
        tree, position = decoder.raw_decode(output, position)
        yield tree


class Access:
    """The mangled names of the headers' declarations, by access."""

    def __init__(self) -> None:
        self.open: set[str] = set()
        self.private: set[str] = set()
        self.open_templates: set[str] = set()  # by qualified name; the library holds instances

    def is_instance(self, text: str) -> bool:
        """Whether a demangled symbol is an instance of a public function template."""
        # c++filt writes a blank between the "<<" of an operator and the arguments.
        return any(f"{name}<" in text or f"{name} <" in text for name in self.open_templates)

    def read(self, node: dict[str, Any], is_private: bool, scope: str) -> None:
        scope = f"{scope}::{node['name']}" if scope and "name" in node else node.get("name", scope)
        if node.get("kind") in MEMBERS and "mangledName" in node:
            (self.private if is_private else self.open).add(normalized(node["mangledName"]))
        inner = node.get("inner", ())
        if node.get("kind") in CLASSES:
            access = "private" if node.get("tagUsed") == "class" else "public"
            for child in inner:
                if child.get("kind") == "AccessSpecDecl":
                    access = child["access"]
                else:
                    # A function that a class only befriends belongs to the namespace.
                    own = access == "private" and child.get("kind") != "FriendDecl"
                    self.read(child, is_private or own, scope)
        elif node.get("kind") == "FunctionTemplateDecl":
            if not is_private:
                self.open_templates.add(scope)
        elif node.get("kind") in ("NamespaceDecl", "LinkageSpecDecl", "FriendDecl"):
            for child in inner:
                self.read(child, is_private, scope)


def main() -> int:
    access = Access()
    for tree in syntax_trees():
        access.read(tree, is_private=False, scope="")
    exceptions = read_exceptions(EXCEPTIONS)
    used = set()
    problems = set()
    symbols = [name for library in sys.argv[1:] for name in exported_symbols(library)
               if not TABLE_OR_TYPE.match(name)]
    for symbol, text in demangled(symbols).items():
        name = normalized(symbol)
        if name in access.open or access.is_instance(text):
            continue
        problem = "is private" if name in access.private else "is in no public header"
        if text in exceptions:
            used.add(text)
        else:
            problems.add(f"exported, but {problem}: {text}")
    problems |= {f"tools/{EXCEPTIONS}: no longer necessary: {text}"
                 for text in set(exceptions) - used}
    for problem in sorted(problems):
        print(problem)
    print(f"{len(symbols)} exported symbols, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
