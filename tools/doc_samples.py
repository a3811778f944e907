#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The C++ samples of the pages and of the public headers, which the tests compile and run.

    doc_samples.py --list          the files that are written below a folder
    doc_samples.py --write FOLDER  writes them
    doc_samples.py --check         reports samples that no test contains, and programs that don't
                                   compile alone

A sample is a block of a page that begins with ```cpp, or one of a header between @code and @endcode.
A block that is a whole program needs no more: programs.cpp contains all of them, one a namespace, and a
test runs each. Any other block of a page is named in a comment before it, `<!-- sample: NAME -->`, and
a test includes it as "samples/NAME.inc" at a place where it compiles. The blocks of a header are
named after the header and numbered from 1 on: "samples/qzThread.2.inc", "samples/ext/Json.1.inc".
"""

import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Iterator, NamedTuple

ROOT = Path(__file__).resolve().parent.parent

FENCE = re.compile(r"^```(\S*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
NAME = re.compile(r"<!-- sample: ([\w.-]+) -->\n\Z")
CODE = re.compile(r"^( *)/// @code\n(.*?)^ */// @endcode$", re.MULTILINE | re.DOTALL)
INCLUDE = re.compile(r"^#include .*$", re.MULTILINE)
MAIN = "int main()\n"

PROGRAMS_HEAD = """\
// Made by tools/doc_samples.py from the pages and the public headers.

{includes}

#include "docs/Programs.h"
"""
PROGRAM = """
namespace program_{number} {{
#line {line} "{page}"
{text}
}}  // namespace program_{number}
"""
PROGRAMS_TAIL = """
namespace qz::docs {{

const std::vector<Program>& getPrograms()
{{
    static const std::vector<Program> programs = {{
{rows}
    }};
    return programs;
}}

}}  // namespace qz::docs
"""


class Sample(NamedTuple):
    name: str
    page: str
    line: int  # of its first line of code
    text: str

    def is_program(self) -> bool:
        return MAIN in self.text and INCLUDE.search(self.text) is not None

    def file(self) -> str:
        return f"{self.name}.inc"

    def place(self) -> str:
        return f"{self.page}:{self.line}"


def pages() -> list[Path]:
    return sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")])


def line_at(text: str, position: int) -> int:
    return text.count("\n", 0, position) + 1


def samples_of_page(path: Path) -> Iterator[Sample]:
    text = path.read_text(encoding="utf-8")
    page = str(path.relative_to(ROOT))
    number = 0
    for match in FENCE.finditer(text):
        if match[1] != "cpp":
            continue
        number += 1
        named = NAME.search(text, 0, match.start())
        name = named[1] if named else f"{path.stem}.{number}"
        yield Sample(name, page, line_at(text, match.start(2)), match[2])


def samples_of_header(path: Path) -> Iterator[Sample]:
    text = path.read_text(encoding="utf-8")
    base = path.relative_to(ROOT / "include/qz").with_suffix("")
    for number, match in enumerate(CODE.finditer(text), 1):
        lines = [line.strip().removeprefix("///").removeprefix(" ") for line in match[2].splitlines()]
        yield Sample(f"{base}.{number}", str(path.relative_to(ROOT)),
                     line_at(text, match.start(2)), "".join(f"{line}\n" for line in lines))


def all_samples() -> list[Sample]:
    samples = []
    for path in pages():
        samples += samples_of_page(path)
    for path in sorted((ROOT / "include/qz").rglob("*.h")):
        samples += samples_of_header(path)
    return samples


def is_run_as_program(sample: Sample) -> bool:
    """Whether programs.cpp contains it. A program with a name of its own is left to a test."""
    return sample.is_program() and re.search(r"\.\d+$", sample.name) is not None


def in_current_folder(text: str) -> str:
    """With the current folder in place of the system's root, for files that a sample makes."""
    return re.sub(r'"(?=/(?:home|tmp|var/(?:tmp|log|lib))[/"])', '".', text)


def as_function(sample: Sample) -> str:
    """The program without its includes and with another name for `main`, on the same lines."""
    text = INCLUDE.sub("", in_current_folder(sample.text)).replace(MAIN, "int run()\n")
    # Only a real `main` returns 0 at its end.
    return re.sub(r"\n\}\n\Z", "\nreturn 0; }", text)


def programs_text(samples: list[Sample]) -> str:
    programs = [sample for sample in samples if is_run_as_program(sample)]
    includes = sorted({line for program in programs for line in INCLUDE.findall(program.text)})
    text = PROGRAMS_HEAD.format(includes="\n".join(includes))
    rows = []
    for number, program in enumerate(programs):
        text += PROGRAM.format(number=number, line=program.line, page=program.page,
                               text=as_function(program))
        rows.append(f'        {{"{program.name}", &program_{number}::run}},')
    return text + PROGRAMS_TAIL.format(rows="\n".join(rows))


def fragment_text(sample: Sample) -> str:
    return f'#line {sample.line} "{sample.page}"\n{in_current_folder(sample.text)}'


def generated(samples: list[Sample]) -> dict[str, str]:
    texts = {sample.file(): fragment_text(sample) for sample in samples
             if not is_run_as_program(sample)}
    texts["programs.cpp"] = programs_text(samples)
    return texts


def write(folder: Path, texts: dict[str, str]) -> None:
    for name, text in texts.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        # What hasn't changed isn't compiled again.
        if not path.is_file() or path.read_text(encoding="utf-8") != text:
            path.write_text(text, encoding="utf-8")
    for path in folder.rglob("*.inc"):
        if str(path.relative_to(folder)) not in texts:
            path.unlink()


def find_unmarked_code() -> list[str]:
    """Blocks that contain C++ and don't say so."""
    problems = []
    for path in pages():
        text = path.read_text(encoding="utf-8")
        for match in FENCE.finditer(text):
            looks_like_code = re.search(r"#include <|\bqz::|;$", match[2], re.MULTILINE)
            if match[1] not in ("cpp", "sh", "cmake", "ini") and looks_like_code:
                problems.append(f"{path.relative_to(ROOT)}:{line_at(text, match.start())}: "
                                "this block looks like C++; begin it with ```cpp")
        for match in re.finditer(r"\n\n((?:    .*\n)+)", FENCE.sub("", text)):
            if re.search(r"#include <|\bqz::\w+\(", match[1]):
                problems.append(f"{path.relative_to(ROOT)}: an indented block looks like C++; "
                                f"write it as a block of ```cpp: {match[1].strip().splitlines()[0]}")
    for path in sorted((ROOT / "include/qz").rglob("*.h")):
        text = path.read_text(encoding="utf-8")
        for match in re.finditer(r"^ *///     +(.*(?:;|\{))$", CODE.sub("", text), re.MULTILINE):
            problems.append(f"{path.relative_to(ROOT)}: "
                            f"write code between @code and @endcode: {match[1]}")
        if re.search(r"^ *///\s*```", text, re.MULTILINE):
            problems.append(f"{path.relative_to(ROOT)}: write code between @code and @endcode")
        opened = len(re.findall(r"[@\\]code\b", text))
        if opened != len(CODE.findall(text)):
            problems.append(f"{path.relative_to(ROOT)}: a @code isn't alone on its line, or has no end")
    return problems


def compile_alone(program: Sample) -> str:
    """What the compiler says of a program as C++17, with no includes but its own."""
    command = ["g++", "-std=c++17", "-Wall", "-Wextra", "-Iinclude", "-fsyntax-only", "-xc++", "-"]
    return subprocess.run(command,
                          input=f'#line {program.line} "{program.page}"\n{program.text}',
                          cwd=ROOT, stderr=subprocess.PIPE, text=True).stderr


def find_programs_that_fail(samples: list[Sample]) -> list[str]:
    programs = [sample for sample in samples if sample.is_program()]
    with ThreadPoolExecutor(os.cpu_count()) as executor:
        return [errors for errors in executor.map(compile_alone, programs) if errors]


def find_problems(samples: list[Sample]) -> list[str]:
    problems = find_unmarked_code() + find_programs_that_fail(samples)
    tests = [path for path in (ROOT / "tests").rglob("*")
             if path.suffix in (".cpp", ".h") or path.name == "CMakeLists.txt"]
    contained = set()
    for path in tests:
        contained |= set(re.findall(r"samples/([\w./-]+\.inc)", path.read_text(encoding="utf-8")))
    names = set()
    for sample in samples:
        if sample.name in names:
            problems.append(f"{sample.place()}: another sample has the name {sample.name}")
        names.add(sample.name)
        if not is_run_as_program(sample) and sample.file() not in contained:
            problems.append(f"{sample.place()}: this code is not compiled; name it in a comment "
                            f"<!-- sample: NAME -->, and include samples/{sample.file()} in a test")
    for name in sorted(contained - {sample.file() for sample in samples}):
        problems.append(f"tests: there is no samples/{name}")
    return problems


def main() -> int:
    samples = all_samples()
    texts = generated(samples)
    match sys.argv[1:]:
        case ["--list"]:
            print("\n".join(texts))
        case ["--write", folder]:
            write(Path(folder), texts)
        case ["--check"]:
            problems = find_problems(samples)
            print("\n".join(problems), end="\n" if problems else "")
            count = sum(map(is_run_as_program, samples))
            print(f"{len(samples)} samples, {count} of them programs; {len(problems)} problems")
            return 1 if problems else 0
        case _:
            print(__doc__, file=sys.stderr)
            return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
