#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every text that the library can emit is asserted by at least one test.

A text is a string literal in src/ with a letter in it and more than three characters. Those of the
commands, in src/tools/, are for the scripts that test them. A test asserts
it if it is part of a string literal below tests/. Literals that are no texts are listed, with a
reason, in unemitted-texts.txt; a line there that is no longer necessary is an error too.
"""

import sys

from cpp_text import read_exceptions, relative, sources, string_literals, tokens

EXCEPTIONS = "unemitted-texts.txt"
SHORTEST = 4
COMMANDS = "src/tools/"


def is_message(text: str) -> bool:
    return len(text) >= SHORTEST and any(char.isalpha() for char in text)


def without_static_asserts(text: str) -> str:
    """Blanks the static_asserts, whose texts only the compiler emits."""
    lines = text.splitlines(keepends=True)
    depth = None
    for token in tokens(text):
        if token.text == "static_assert" and token.kind == "name":
            depth = 0
        if depth is None:
            continue
        if token.kind == "string":
            at = token.line - 1
            lines[at] = lines[at].replace('"', " ")
        if token.text == "(":
            depth += 1
        elif token.text == ")":
            depth -= 1
            if depth == 0:
                depth = None
    return "".join(lines)


def main() -> int:
    exceptions = read_exceptions(EXCEPTIONS)
    asserted = [token.text for path in sources("tests") for token in string_literals(path.read_text())]
    used = set()
    count = failures = 0
    for path in sources("src"):
        if relative(path).startswith(COMMANDS):
            continue
        for literal in string_literals(without_static_asserts(path.read_text())):
            if not is_message(literal.text):
                continue
            shown = literal.text.encode("unicode_escape").decode()
            if shown in exceptions:
                used.add(shown)
                continue
            count += 1
            if not any(literal.text in text for text in asserted):
                print(f'{relative(path)}:{literal.line}: no test asserts "{shown}"')
                failures += 1
    for text in sorted(set(exceptions) - used):
        print(f'tools/{EXCEPTIONS}: no longer necessary: "{text}"')
        failures += 1
    print(f"{count} texts, {failures} problems")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
