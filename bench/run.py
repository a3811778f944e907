#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the benchmark programs of a build and prints one table a subject.

A row holds our median against the medians of the peers, measured in the same run with all
repetitions in random order. The ratio is our time over that of the fastest peer, or of the one that
the goal names; the goal is the most that it may be. The limit is what the system takes for the same
work by itself, and no peer.
"""

import argparse
import datetime
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tools"))
from machine import machine_text  # pylint: disable=wrong-import-position

# What the benchmark library adds to a name for the clock of a case.
CLOCK = re.compile(r"(/iterations:\d+)?(/(real|manual)_time)?$")

OURS = "qz"
EMPTY = "frame"
LIMIT = "limit"

# Subject, heading, and its rows with their goals; None for a figure that stands alone, and a pair of
# goal and peer where the goal isn't set against the fastest.
SUBJECTS = {
    "log": ("Log", {
        "switched-off report, 5 insertions": 0.5,
        "prefix of a line": 0.25,
        "light start, a line": (1.5, "system calls"),
        "100,000 lines, 1 producer": 0.42,
        "100,000 lines, 2 producers": 0.35,
        "100,000 lines, 4 producers": 0.35,
        "burst of 4,000 lines, 1 producer": 0.35,
        "burst of 4,000 lines, 4 producers": 0.5,
        "synchronous report": 1.3,
        "report, p50": 0.5,
        "report, p99": 0.5,
        "report, p99.9": None,
    }),
    "locks": ("Locks, conditions and semaphores", {
        "lock and unlock, free": (1.2, "std"),
        "taken twice": (1.15, "std"),
        "contended, 2 threads": (1.3, "std"),
        "contended, 4 threads": (1.3, "std"),
        "condition round trip": 1.05,
        "wake with no waiter": 1.5,
        "semaphore release and acquire": 1.8,
    }),
    "thread": ("Threads", {
        "start and join": 1.1,
    }),
    "serialiser": ("Binary serialiser: 1,000,000 records of int, double, 12-byte string", {
        "write to memory": 0.9,
        "read from memory": 1.0,
        "write to a file": 0.85,
        "read from a file": 0.9,
        "checked read from memory": (1.3, "unchecked"),
    }),
    "device": ("File device: 64 MiB on tmpfs", {
        "write 4 KiB each": 1.05,
        "read 4 KiB each": 1.05,
        "write 64 B each": 0.8,
        "read 64 B each": 0.8,
        "write 1,023 B each": None,
        "write 1,024 B each": None,
        "write 16 KiB each": None,
        "100,000 reads before a tail of 64 B": None,
        "100,000 reads before a tail of 1 MiB": None,
    }),
    "buffer": ("Chunk and swap buffer: 1 GB, chunks of 1 MiB", {
        "append 1 GB, 4 KiB each": (0.8, "QBuffer"),
        "append 1 GB, chunks of 32 MiB": (0.55, "QBuffer"),
        "write a kept buffer again": 1.1,
        "64 MB, 16 B each": 1.0,
        "read 1 GB back, 4 KiB each": (1.05, "QBuffer"),
        "256 MB in memory, 768 MB swapped": 1.3,
        "100,000 small chunks": None,
        "1,000,000 small chunks": None,
    }),
    "chain": ("Three counters in front of a device, against the device alone", {
        "1 GiB to a file, 4 KiB each": 1.02,
        "1 GiB to a sink, 4 KiB each": None,
    }),
    "charset": ("Character sets: a path of 60 bytes", {
        "ASCII, local set UTF-8": 0.5,
        "accents, local set UTF-8": 1.1,
        "ASCII, local set Latin-1": 0.32,
        "accents, local set Latin-1": 1.15,
    }),
    "text": ("UTF-8, search, replacement", {
        "validate 1 MB, ASCII": 0.6,
        "validate 1 MB, mixed": 0.1,
        "validate 1 MB, CJK": 0.25,
        "count 1 MB, ASCII": 0.02,
        "count 1 MB, mixed": 0.07,
        "count 1 MB, CJK": 0.15,
        "validate 60 bytes, ASCII": 1.2,
        "validate 60 bytes, mixed": 0.75,
        "find, rare first byte": 1.1,
        "find, common first byte": 0.4,
        "find, long run of the first byte": 0.05,
        "find without case": 0.12,
        "replace, growing": 0.85,
        "replace, same size": 0.65,
        "escape XML": 0.6,
        "count 0.1 MB, mixed": None,
        "count 10 MB, mixed": None,
        "find in 0.1 MB": None,
        "find in 10 MB": None,
        "replace in 0.1 MB": None,
        "replace in 10 MB": None,
    }),
    "variant": ("Variant tree: 10,648 leaves on three levels", {
        "build by path": 0.8,
        "deep copy": 0.75,
        "compare equal": 1.1,
        "look up by path": 1.0,
        "scalars to text": 0.6,
        "texts guessed": 0.4,
        "build by path, 1,000 leaves": None,
        "build by path, 91,125 leaves": None,
        "deep copy, 1,000 leaves": None,
        "deep copy, 91,125 leaves": None,
    }),
    "ini": ("Ini files: sections of 100 keys", {
        "load 10,000 keys": 0.75,
        "save 10,000 keys": 3.3,
        "load 1,000 keys": None,
        "load 100,000 keys": None,
    }),
    "csv": ("CSV: 100 MB, one cell of ten quoted", {
        "100 MB to rows of text cells": 0.8,
        "100 MB, types guessed": 0.7,
        "write 100 MB": 0.7,
        "10 MB to rows of text cells": None,
    }),
    "json": ("JSON: documents of 1 MB", {
        "parse records": (0.8, "nlohmann"),
        "parse numbers": (0.8, "nlohmann"),
        "parse long strings": (0.8, "nlohmann"),
        "parse deep nesting": (0.8, "nlohmann"),
        "write records": (0.6, "nlohmann"),
        "write numbers": (0.6, "nlohmann"),
        "write long strings": (0.6, "nlohmann"),
        "write deep nesting": (0.6, "nlohmann"),
    }),
    "number": ("Numbers to text", {
        "integer, zero padded": 1.3,
        "12 digits with separators": 0.2,
        "humanised size": 0.7,
        "two decimals": 0.8,
        "duration": 0.4,
        "double, 6 digits": (0.7, "fmt"),
    }),
    "path": ("Path algebra: 1,000 paths", {
        "simplify": 0.7,
        "join": 0.6,
        "extension": 0.3,
        "split folder and name": 0.3,
        "absolute, base given": 0.6,
        "absolute, current folder": 0.65,
    }),
    "traversal": ("Folders on tmpfs: 25 files in each, up to twelve folders in one", {
        "walk 52,000 entries": 1.25,
        "collect full paths": 0.65,
        "collect, one extension": 0.5,
        "clear a folder of 20,000 files": (1.0, "std"),
        "walk 5,200 entries": None,
        "walk 208,000 entries": None,
    }),
    "resolver": ("Index of file names, and stale paths resolved in it", {
        "index 50,000 names": (1.0, "absl btree"),
        "10,000 paths among 50,000 names": (1.0, "absl btree"),
        "10,000 paths among 200,000 names": (1.0, "absl btree"),
        "index 200,000 names": None,
        "a path among 100 namesakes": None,
        "a path among 1,000 namesakes": None,
        "a path among 10,000 namesakes": None,
    }),
    "process": ("Child processes, started and waited for", {
        "nothing": 1.5,
        "nothing, by ChildProcess": 1.5,
        "15 ms": 1.05,
        "15 ms, by ChildProcess": 1.05,
        "nothing, parent of 256 MB": 1.5,
        "nothing, parent of 256 MB, by ChildProcess": 1.5,
        "nothing, parent of 1 GB": 1.5,
        "nothing, parent of 1 GB, by ChildProcess": 1.5,
        "1 MiB captured, by ChildProcess": 1.1,
    }),
    "lockfile": ("Lock files", {
        "take and release with removal, tmpfs": 0.75,
        "take and release with removal, disk": 0.075,
        "take a file that stays, tmpfs": 1.4,
        "FileLock: take and release, tmpfs": None,
        "lock between processes, held open": (1.05, "POCO"),
    }),
    "pipe": ("Named pipes and channels between two processes", {
        "1 GiB one way, 10,240 B each": 1.1,
        "100 B there and back": None,
        "64 KiB there and back": None,
    }),
    "pool": ("Pool and progress", {
        "hand two solvers over and wait": (1.1, "Boost.Asio"),
        "10,000 tiny jobs": (0.25, "oneTBB"),
        "10,000 tiny jobs, in pieces of any size": None,
        "parallel for over 1e7 doubles": 1.05,
        "progress update in a stack of 4 groups": None,
        "shouldCancel through the thread-safe proxy": None,
        "number of threads to use": None,
    }),
    "start": ("Start and load", {
        "light start and stop": None,
        "full start and stop": None,
        "a program that does nothing": None,
    }),
}


def run_program(build, subject, options, environment):
    """Runs one program; returns what it wrote as JSON."""
    command = [
        str(build / "bench" / f"bench_{subject}"),
        "--benchmark_format=json",
        "--benchmark_enable_random_interleaving=true",
        f"--benchmark_repetitions={options.repetitions}",
        f"--benchmark_min_time={options.min_time}",
    ]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                          env={**os.environ, **environment})
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)} failed:\n{done.stderr}")
    return json.loads(done.stdout)


def charset_environments(build):
    """The program reads its local character set once, so each set takes a run."""
    yield {"LC_ALL": "C.UTF-8"}
    locales = build / "bench" / "locales"
    if locales.is_dir():
        yield {"LC_ALL": "de_DE.ISO-8859-1", "LOCPATH": str(locales)}
    else:
        print("No Latin-1 locale in this build: its rows are left out.")


def readelf(option, path):
    return subprocess.run(["readelf", "-W", option, str(path)], stdout=subprocess.PIPE, text=True,
                          check=True, env={**os.environ, "LC_ALL": "C"}).stdout


def held_memory(program):
    """Resident and own KiB of the program that does nothing: the middle one of some runs."""
    runs = [subprocess.run([program, "tell"], stdout=subprocess.PIPE, text=True, check=True).stdout
            for _ in range(9)]
    return [statistics.median(column) for column in zip(*(map(int, run.split()) for run in runs))]


def load_facts(build):
    """What loading the shared object takes besides time."""
    library = build / "libqzSystem.so"
    if not library.exists():
        return {}
    relocations = re.findall(r"\bR_X86_64_(\w+)", readelf("-r", library))
    dynamic = readelf("-d", library)
    ours, runtime = (held_memory(build / "bench" / f"bench_nothing_{kind}")
                     for kind in (OURS, "runtime"))
    kinds = ", ".join(f"{relocations.count(kind)} {kind}" for kind in sorted(set(relocations)))
    return {
        "relocations": f"{len(relocations)} ({kinds})",
        "libraries needed": ", ".join(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)),
        "file": f"{library.resolve().stat().st_size // 1024} KiB",
        "resident memory that loading adds to that of the C++ runtime":
            f"{ours[0] - runtime[0]:.0f} KiB, of that the process's own {ours[1] - runtime[1]:.0f}",
    }


def resolver_facts(document):
    """The rate that is wanted besides a ratio."""
    rates = [entry["items_per_second"] for entry in document["benchmarks"]
             if entry["run_type"] == "iteration" and
             entry["run_name"] == "10,000 paths among 200,000 names/" + OURS]
    return {"paths a second among 200,000 names":
            f"{statistics.median(rates) / 1e6:.2f} million, goal 1 million"}


def measure(build, subject, options):
    """Runs a subject's program as often as it takes; returns one JSON document."""
    environments = charset_environments(build) if subject == "charset" else [{}]
    documents = [run_program(build, subject, options, each) for each in environments]
    whole = documents[0]
    for more in documents[1:]:
        whole["benchmarks"] += more["benchmarks"]
    if subject == "start":
        whole["facts"] = load_facts(build)
    if subject == "resolver":
        whole["facts"] = resolver_facts(whole)
    whole["run"] = {
        "date": datetime.date.today().isoformat(),
        "command": f"bench/run.py --repetitions {options.repetitions} "
                   f"--min-time {options.min_time:g} {subject}",
    }
    return whole


def medians(document):
    """The median time in ns of each contender: {row: {contender: time}}."""
    times = {}
    scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    for entry in document["benchmarks"]:
        if entry["run_type"] != "iteration":
            continue
        name = entry["run_name"]
        # Wall time counts where other processes do the work, and the thread's own elsewhere.
        clock = "real_time" if name.endswith(("/real_time", "/manual_time")) else "cpu_time"
        row, contender = CLOCK.sub("", name).split("/")
        samples = times.setdefault(row, {}).setdefault(contender, [])
        samples.append(entry[clock] * scale[entry["time_unit"]])
    return {row: {contender: statistics.median(samples) for contender, samples in found.items()}
            for row, found in times.items()}


def time_text(nanoseconds):
    for unit, size in (("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}" if nanoseconds < 999.5 * size \
                else f"{nanoseconds / size:.0f} {unit}"
    return f"{nanoseconds:.3g} ns"


def table_of(subject, document):
    """The table of a subject as rows of text, the headings first."""
    times = medians(document)
    goals = SUBJECTS[subject][1]
    peers = []
    for row in goals:
        for contender in times.get(row, {}):
            if contender not in (OURS, *peers):
                peers.append(contender)
    table = [["", OURS, *peers, "against", "ratio", "goal", ""]]
    for row, goal in goals.items():
        found = times.get(row)
        if found is None or OURS not in found:
            continue
        line = [row] + [time_text(found[who]) if who in found else "-" for who in (OURS, *peers)]
        goal, named = goal if isinstance(goal, tuple) else (goal, None)
        rivals = {who: time for who, time in found.items() if who not in (OURS, LIMIT)}
        if goal is None or not rivals or (named and named not in rivals):
            line += ["", "", "" if goal is None else f"{goal:g}", ""]
        else:
            rival = named or min(rivals, key=rivals.get)
            ratio = found[OURS] / rivals[rival]
            line += [rival, f"{ratio:.2f}", f"{goal:g}", "ok" if ratio <= goal else "over"]
        table.append(line)
    empty = times.get("empty loop", {}).get(EMPTY)
    if empty is not None:
        table.append(["an empty loop", time_text(empty)] + [""] * (len(table[0]) - 2))
    # Columns that hold nothing under their heading go.
    used = [index for index in range(len(table[0])) if any(line[index] for line in table[1:])]
    table = [[line[index] for index in used] for line in table]
    return table


def markdown_of(table):
    lines = ["| " + " | ".join(line) + " |" for line in table]
    lines.insert(1, "|" + "|".join([" --- "] + [" ---: "] * (len(table[0]) - 1)) + "|")
    return "\n".join(lines)


def print_table(table):
    widths = [max(len(line[index]) for line in table) for index in range(len(table[0]))]
    for line in table:
        cells = [cell.ljust(width) if index == 0 else cell.rjust(width)
                 for index, (cell, width) in enumerate(zip(line, widths))]
        print("  ".join(cells).rstrip())


def compiler_text(build):
    """Compiler and flags as the build's cache has them."""
    cache = dict(re.findall(r"^(\w+):\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.M))
    kind = cache.get("CMAKE_BUILD_TYPE", "")
    version = subprocess.run([cache["CMAKE_CXX_COMPILER"], "--version"], stdout=subprocess.PIPE,
                             text=True, check=True).stdout.splitlines()[0]
    flags = " ".join(filter(None, (cache.get("CMAKE_CXX_FLAGS"),
                                   cache.get(f"CMAKE_CXX_FLAGS_{kind.upper()}"))))
    return f"{version}, {kind} ({flags})"


def write_markdown(path, title, build, documents):
    """Writes the page of all subjects that have been measured in this build."""
    parts = [
        f"# {title}",
        "Our median time beside the medians of the peers, taken in one run on the same data with "
        "the repetitions in random order. The ratio is our time over that of the peer named beside "
        "it, which is the fastest unless the goal is set against another; the goal is the most "
        "that it is to be. A column `limit` is no peer but the floor: only what the work can't do "
        "without, with nothing around it. `./dev bench` measures all of it anew.",
        f"- machine: {machine_text()}\n- compiler: {compiler_text(build)}",
    ]
    for subject, document in documents.items():
        run = document["run"]
        parts += [
            f"## {SUBJECTS[subject][0]}",
            markdown_of(table_of(subject, document)),
            f"Measured on {run['date']} by `{run['command']}`.",
        ]
        if document.get("facts"):
            parts.append("\n".join(f"- {name}: {text}" for name, text in document["facts"].items()))
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("\n\n".join(parts) + "\n", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", required=True, type=pathlib.Path, help="the build folder")
    parser.add_argument("--markdown", type=pathlib.Path, metavar="FILE",
                        help="also write a page of all subjects with results in the build folder")
    parser.add_argument("--title", default="Speed", help="the heading of that page")
    parser.add_argument("--repetitions", type=int, default=7)
    parser.add_argument("--min-time", type=float, default=0.2, help="seconds a repetition")
    parser.add_argument("subjects", nargs="*", metavar="SUBJECT", help=", ".join(SUBJECTS))
    options = parser.parse_args()
    unknown = set(options.subjects) - set(SUBJECTS)
    if unknown:
        parser.error(f"no such subject: {', '.join(sorted(unknown))}")

    build = options.build.resolve()
    for subject in options.subjects or SUBJECTS:
        document = measure(build, subject, options)
        (build / f"{subject}.json").write_text(json.dumps(document, indent=1), encoding="utf-8")
        print(SUBJECTS[subject][0])
        print_table(table_of(subject, document))
        for name, text in document.get("facts", {}).items():
            print(f"{name}: {text}")
        print()

    if options.markdown:
        results = {subject: build / f"{subject}.json" for subject in SUBJECTS}
        write_markdown(options.markdown, options.title, build,
                       {subject: json.loads(path.read_text()) for subject, path in results.items()
                        if path.exists()})


if __name__ == "__main__":
    main()
