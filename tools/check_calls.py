#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every exported function is called by at least one test: check_calls.py SHARED-OBJECT...

The check reads the text: a test must name the class and call a function of that name. A test is a
.cpp file below tests/ with the test headers that it includes. Private functions are left out,
because only inline code in the headers calls them.
"""

import pathlib
import re
import subprocess
import sys
from typing import Iterator

from cpp_text import ROOT, Token, sources, tokens

NAMESPACES = ("qz", "qzSystem", "ext", "impl", "rc", "concurrent", "exception")
OPERATOR = re.compile(r"operator\s*(\W+?|\(\))$")
OPERATOR_SIGN = re.compile(r"\boperator(\(\)|[^\w\s(]+)")


def exported_names(library: str) -> Iterator[tuple[str, bool]]:
    """The exported functions and variables with their namespaces and classes, each with a flag that
    is true for a variable."""
    output = subprocess.run(
        [ROOT / "tools/exported_symbols.sh", library], check=True, capture_output=True, text=True
    ).stdout
    for symbol in output.splitlines():
        if re.match(r"(vtable|typeinfo|VTT|construction|guard|non-virtual|virtual)\b", symbol):
            continue
        name = without_arguments(symbol)
        yield re.sub(r"\[abi:\w+\]", "", name or symbol), name is None


def exported_symbols(library: str) -> dict[tuple[str, str], bool]:
    """The same as pairs of class (empty for none) and name, without the namespaces."""
    symbols = {}
    for name, is_variable in exported_names(library):
        scopes = name.split("::")
        while len(scopes) > 1 and scopes[0] in NAMESPACES:
            scopes.pop(0)
        symbols["::".join(scopes[:-1]), scopes[-1]] = is_variable
    return symbols


def without_arguments(symbol: str) -> str | None:
    """The name of a function, without its arguments, template arguments, and the result type that
    begins the symbol of a template; None for a variable."""
    # The signs of an operator are no brackets.
    masked = OPERATOR_SIGN.sub(lambda match: "operator" + "@" * len(match.group(1)), symbol)
    begin = 0
    depth = 0
    kept = []
    for i, letter in enumerate(masked):
        depth -= letter == ">"
        if depth == 0 and letter == "(":
            return "".join(kept[begin:]).strip()
        if depth == 0 and letter == " " and not masked[:i].endswith("operator"):
            begin = begin if masked[i + 1] == "<" else len(kept)
        depth += letter == "<"
        if depth == 0 and letter != ">":
            kept.append(symbol[i])
    return None


class AccessReader:
    """Finds out which functions of the public headers may be called from outside."""

    def __init__(self) -> None:
        self.callable: set[tuple[str, str]] = set()

    def read(self, path: pathlib.Path) -> None:
        stream = list(tokens(path.read_text()))
        scopes: list[tuple[str, str]] = []  # class name, access; an empty name for other braces
        pending: tuple[str, str] | None = None
        for i, token in enumerate(stream):
            if token.text in ("class", "struct") and token.kind == "name":
                pending = self.class_head(stream, i) or pending
            elif token.text == ";":
                pending = None
            elif token.text == "{":
                scopes.append(pending or ("", ""))
                pending = None
            elif token.text == "}":
                if scopes:
                    scopes.pop()
            elif scopes and scopes[-1][0]:
                self.in_class(stream, i, scopes)

    @staticmethod
    def class_head(stream: list[Token], i: int) -> tuple[str, str] | None:
        names = []
        for token in stream[i + 1 :]:
            if token.kind != "name":
                break
            names.append(token.text)
        names = [name for name in names if name not in ("QZ_API", "final")]
        if not names:
            return None
        return names[-1], "public" if stream[i].text == "struct" else "private"

    def in_class(self, stream: list[Token], i: int, scopes: list[tuple[str, str]]) -> None:
        token = stream[i]
        name, access = scopes[-1]
        following = stream[i + 1].text if i + 1 < len(stream) else ""
        if token.text in ("public", "protected", "private") and following == ":":
            scopes[-1] = (name, token.text)
        elif access != "private" and token.kind == "name":
            owner = "::".join(scope for scope, _ in scopes if scope)
            self.callable.add((owner, token.text))


class Test:
    """The words of one test, with those of the headers that it includes."""

    def __init__(self, path: pathlib.Path) -> None:
        self.names: set[str] = set()
        self.called: set[str] = set()
        self.operators: set[str] = set()
        self.read(path, set())

    def read(self, path: pathlib.Path, seen: set[pathlib.Path]) -> None:
        if path in seen:
            return
        seen.add(path)
        text = path.read_text()
        stream = list(tokens(text))
        before = ""
        for token, following in zip(stream, stream[1:]):
            if token.kind == "name":
                self.names.add(token.text)
                # Class::function without a list of arguments is a row in a table of calls.
                if following.text in ("(", "<") or before == "::":
                    self.called.add(token.text)
            elif token.kind == "other":
                # There is an index between the two signs.
                self.operators.add("[]" if token.text == "[" and before.isidentifier() else token.text)
            before = token.text
        for name in re.findall(r'^\s*#\s*include\s*"([^"]+)"', text, re.MULTILINE):
            for base in (path.parent, ROOT / "tests"):
                if (base / name).is_file():
                    self.read((base / name).resolve(), seen)

    def calls(self, owner: str, function: str) -> bool:
        class_name = owner.rpartition("::")[2]
        if class_name and class_name not in self.names:
            return False
        operator = OPERATOR.match(function)
        if operator:
            return operator.group(1) in self.operators
        if function.lstrip("~") == class_name:
            return True
        return function in self.called


def main() -> int:
    symbols = {}
    for library in sys.argv[1:]:
        symbols.update(exported_symbols(library))
    access = AccessReader()
    for path in sources("include"):
        access.read(path)
    tests = [Test(path) for path in sources("tests") if path.suffix == ".cpp"]
    names = set().union(*(test.names for test in tests))
    missing = []
    count = 0
    for (owner, function), is_variable in sorted(symbols.items()):
        is_special = function.lstrip("~") == owner.rpartition("::")[2] or function.startswith("operator")
        if owner and not is_special and (owner, function) not in access.callable:
            continue
        count += 1
        is_seen = is_variable and function in names
        if not is_seen and not any(test.calls(owner, function) for test in tests):
            missing.append(f"{owner}::{function}" if owner else function)
    for name in missing:
        print(f"no test calls {name}")
    print(f"{count} exported functions, {len(missing)} without a test")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
