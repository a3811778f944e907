# SPDX-License-Identifier: MIT
"""Reads C++ text for the checks: its tokens without comments, and its string literals."""

import pathlib
import re
from typing import Iterator, NamedTuple

ROOT = pathlib.Path(__file__).resolve().parent.parent

_TOKEN = re.compile(
    r"""
      (?P<comment> //[^\n]* | /\*.*?\*/ )
    | (?P<space> \s+ | \\\n )
    | (?P<directive> (?m:^)[ \t]*\#[ \t]*(?:include|pragma|error)\b[^\n]* )
    | (?P<raw> (?:u8|[uUL])?R"(?P<mark>[^(]*)\((?P<rawText>.*?)\)(?P=mark)" )
    | (?P<string> (?:u8|[uUL])?"(?P<text>(?:\\.|[^"\\\n])*)" )
    | (?P<char> (?:u8|[uUL])?'(?:\\.|[^'\\\n])+' )
    | (?P<number> \.?\d(?:'\w|[\w.]|[eEpP][+-])* )
    | (?P<name> [A-Za-z_]\w* )
    | (?P<other> :: | -> | << | >> | [=!<>]= | . )
    """,
    re.VERBOSE | re.DOTALL,
)

_ESCAPES = {"n": "\n", "r": "\r", "t": "\t", "0": "\0", "a": "\a", "b": "\b", "f": "\f", "v": "\v"}


class Token(NamedTuple):
    kind: str  # raw and string are both "string"
    text: str  # of a string: its value, without quotes
    line: int


def _unescape(text: str) -> str:
    return re.sub(
        r"\\(x[0-9A-Fa-f]+|[0-7]{1,3}|.)",
        lambda match: _unescape_one(match.group(1)),
        text,
        flags=re.DOTALL,
    )


def _unescape_one(code: str) -> str:
    if code[0] == "x":
        return chr(int(code[1:], 16))
    if code[0] in "01234567":
        return chr(int(code, 8))
    return _ESCAPES.get(code, code)


def tokens(text: str) -> Iterator[Token]:
    """The tokens that a compiler reads, without directives such as #include."""
    line = 1
    for match in _TOKEN.finditer(text):
        kind = match.lastgroup
        # lastgroup names the outermost group that closed last, which is the alternative's.
        if kind == "raw":
            yield Token("string", match["rawText"], line)
        elif kind == "string":
            yield Token("string", _unescape(match["text"]), line)
        elif kind not in ("comment", "space", "directive"):
            yield Token(kind, match.group(), line)
        line += match.group().count("\n")


def string_literals(text: str) -> Iterator[Token]:
    """The string literals; adjacent ones are joined, as the compiler does."""
    pending = None
    for token in tokens(text):
        if token.kind != "string":
            if pending:
                yield pending
            pending = None
        elif pending:
            pending = pending._replace(text=pending.text + token.text)
        else:
            pending = token
    if pending:
        yield pending


def sources(*folders: str) -> Iterator[pathlib.Path]:
    """The C++ files below folders of the project, in a fixed order."""
    for folder in folders:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                yield path


def read_exceptions(name: str) -> dict[str, str]:
    """Reads a list of exceptions: each line holds a subject, a tab, and the reason."""
    exceptions = {}
    for line in (ROOT / "tools" / name).read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        subject, tab, reason = line.partition("\t")
        if not tab or not reason.strip():
            raise SystemExit(f"tools/{name}: no reason for: {subject}")
        exceptions[subject.strip()] = reason.strip()
    return exceptions


def relative(path: pathlib.Path) -> str:
    return str(path.relative_to(ROOT))
