#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The folders of src/ have an order, and a file includes only headers of its own folder or a lower
one.

The rule is the same for private and public headers: a public header belongs to the folder that
implements it. An upward include is an error unless upward-includes.txt lists it, with its reason. A
line there that is no longer necessary is an error too, and so are more than six lines. No public
header includes a system header or a private one.

The second library, src/ext/, uses the public headers of the first one, and no private header of it.
A command, a folder of src/tools/, uses the public headers of both, its own ones and those of the
folder shared/.
"""

import pathlib
import re
import sys

from cpp_text import ROOT, read_exceptions, relative, sources

EXCEPTIONS = "upward-includes.txt"
MOST_EXCEPTIONS = 6

# From below. text and frame/base call each other, so they share the lowest level.
LEVELS = {
    "text": 0,
    "frame/base": 0,
    "concurrency": 1,
    "filesystem": 2,
    "log": 3,
    "io": 4,
    "variant": 5,
    "frame/resources": 6,
    "system": 7,
    "frame/start": 8,
    "ext/base": 9,
    "ext/json": 10,
    "ext/machine": 10,
    "ext/process": 10,
    "ext/progress": 10,
    "ext/lock": 10,
    "ext/log": 10,
    "ext/parallel": 10,
    "ext/random": 10,
    "ext/stream": 10,
    "ext/channel": 11,
    "ext/crash": 11,
    "ext/files": 11,
    "tools/shared": 12,
}

# The commands are above both libraries, a folder each.
TOOLS = "tools/"
LEVEL_OF_TOOLS = 13

# The folder of the second library.
EXTENSION = "ext/"

# The public headers whose implementation has another name, and those without one.
FOLDER_OF_HEADER = {
    "qzDirUtils.h": "filesystem",
    "qzExport.h": "frame/base",
    "qzSystem.h": "frame/start",
    "qzIniFile.h": "variant",
    "qzSystemUtils.h": "frame/base",
    "qzException.h": "system",
    "ext/LibraryStart.h": "ext/base",
    "ext/CrashKit.h": "ext/crash",
    "ext/FileLock.h": "ext/lock",
    "ext/Json.h": "ext/json",
    "ext/LogTools.h": "ext/log",
    "ext/PipeChannel.h": "ext/channel",
    "ext/SafeFiles.h": "ext/files",
}

# Includes all other headers, so none of them may include it.
UMBRELLA = "qz.h"

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)

# CMake writes these into the build folder.
GENERATED = {"BuildIdentity.h"}

# A system header ends in .h or is in a folder; headers of the standard library do neither.
STANDARD_HEADER = re.compile(r"[a-z_0-9]+")


def folder_of(path: pathlib.Path) -> str:
    """The folder of src/ that a file is in, as the order names it."""
    return path.parent.relative_to(ROOT / "src").as_posix()


def folder_of_public(name: str) -> str | None:
    """The folder of src/ that implements a public header, whose name is relative to include/qz/."""
    if name in FOLDER_OF_HEADER:
        return FOLDER_OF_HEADER[name]
    stem = pathlib.Path(name).stem
    is_extension = name.startswith(EXTENSION)
    paths = [path for path in sources("src")
             if path.suffix == ".cpp" and not folder_of(path).startswith(TOOLS)
             and folder_of(path).startswith(EXTENSION) == is_extension]
    named = [path for path in paths if path.stem == stem]
    # A big class has several files, which begin with its name.
    folders = {folder_of(path) for path in named or paths if path.name.startswith(stem)}
    return folders.pop() if len(folders) == 1 else None


def folder_of_include(path: pathlib.Path, quote: str, name: str) -> str | None:
    """The folder that an include leads to; None for the standard library and the system."""
    if name.startswith("qz/"):
        folder = folder_of_public(name.removeprefix("qz/"))
        if folder is None:
            raise LookupError(f"<{name}> belongs to no folder; tools/check_includes.py may name it")
        return folder
    if quote == "<" or name in GENERATED:
        return None
    own = folder_of(path)
    part = next((part for part in (EXTENSION, TOOLS) if own.startswith(part)), "")
    for base in (path.parent, ROOT / "src" / part):
        found = (base / name).resolve()
        if found.is_file():
            folder = folder_of(found)
            if part == EXTENSION and not folder.startswith(EXTENSION):
                raise LookupError(f'"{name}" is private to the first library')
            if part == TOOLS and folder not in (own, TOOLS + "shared"):
                raise LookupError(f'"{name}" is private to {folder}')
            return folder
    raise LookupError(f'"{name}" is no private header')


def level_of(folder: str) -> int:
    if folder in LEVELS:
        return LEVELS[folder]
    if folder.startswith(TOOLS):
        return LEVEL_OF_TOOLS
    raise LookupError(f"src/{folder} has no place in the order")


def check_sources(exceptions: dict[str, str]) -> list[str]:
    problems = []
    used = set()
    for path in sources("src"):
        own = folder_of(path)
        for quote, name in INCLUDE.findall(path.read_text()):
            try:
                level = level_of(own)
                folder = folder_of_include(path, quote, name)
                if folder is None or level_of(folder) <= level:
                    continue
            except LookupError as error:
                problems.append(f"{relative(path)}: {error}")
                continue
            line = f"{relative(path)} {name}"
            if line in exceptions:
                used.add(line)
            else:
                problems.append(f"{relative(path)}: {name} leads up from {own} to {folder}")
    problems += [
        f"tools/{EXCEPTIONS}: no longer necessary: {line}" for line in sorted(set(exceptions) - used)
    ]
    if len(exceptions) > MOST_EXCEPTIONS:
        problems.append(f"tools/{EXCEPTIONS}: {len(exceptions)} lines, more than {MOST_EXCEPTIONS}")
    return problems


def check_public_headers() -> list[str]:
    problems = []
    for path in sources("include"):
        for quote, name in INCLUDE.findall(path.read_text()):
            if name.startswith(f"qz/{EXTENSION}") and path.parent.name != "ext":
                problems.append(f"{relative(path)}: <{name}> belongs to the second library")
            elif name.startswith("qz/") and quote == "<":
                if name == f"qz/{UMBRELLA}":
                    problems.append(f"{relative(path)}: includes <{name}>, which includes all")
            elif quote == '"' or not STANDARD_HEADER.fullmatch(name):
                problems.append(f"{relative(path)}: {name} must not be in a public header")
    return problems


def main() -> int:
    problems = check_sources(read_exceptions(EXCEPTIONS)) + check_public_headers()
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
