#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Does much of what could lose something, and prints how much was lost.

Each row says what was done, how often, how often something was lost, with which random numbers and
in which time. The programs are those of the tests, at work for longer. The exit status is 1 if
anything was lost.
"""

import argparse
import collections
import datetime
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

from machine import machine_text

# What a stress program prints for each kind of work.
STRESS_LINE = re.compile(r"^(\S.*?) +(\d+) done +(\d+) lost$", re.M)
FORK_LINE = re.compile(r"missing (\d+) doubled (\d+) damaged (\d+) waiting (\d+)")
FUZZ_LINE = re.compile(r"^stat::number_of_executed_units: (\d+)$", re.M)

SEED_OF_JOBS = "numbers of the jobs"
LINES_OF_A_CHILD = 10

Row = collections.namedtuple("Row", "work done lost seeds seconds")


class Times:
    """Seconds, and counts, of the parts of a run."""

    def __init__(self, is_night):
        self.stress = 1800 if is_night else 60
        self.forked_children = 50000 if is_night else 2000
        self.fuzz = 600 if is_night else 10
        self.crash_rounds = 500 if is_night else 20


def run(command, environment=None, is_checked=True):
    """The output of a command, and its seconds."""
    began = time.monotonic()
    result = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, errors="replace", check=False,
                            env=dict(os.environ, **(environment or {})))
    if is_checked and result.returncode != 0:
        print(result.stdout)
        sys.exit(f"{command[0]}: exit status {result.returncode}")
    return result, time.monotonic() - began


def explain(result):
    """Prints the lines that say what was lost."""
    for line in result.stdout.splitlines():
        if ": lost " in line:
            print(line, file=sys.stderr)


def stress_rows(tests, times):
    """A program prints a line for each of its threads; those of the same work are one row."""
    for name, arguments in (("log", ()), ("files", ()), ("processes", (2,))):
        result, seconds = run([tests / f"stress_{name}", times.stress, *arguments],
                              is_checked=False)
        explain(result)
        works = {}
        for work, done, lost in STRESS_LINE.findall(result.stdout):
            sums = works.setdefault(work, [0, 0])
            sums[0] += int(done)
            sums[1] += int(lost)
        if not works or result.returncode not in (0, 1):
            sys.exit(f"stress_{name}: exit status {result.returncode}\n{result.stdout}")
        for work, (done, lost) in works.items():
            yield Row(work, done, lost, SEED_OF_JOBS, seconds)


def fork_rows(tests, times):
    with tempfile.TemporaryDirectory() as folder:
        result, seconds = run([tests / "programs" / "log_forks", folder, times.forked_children,
                               "log", "tag", "set", "convert"])
    missing, doubled, damaged, waiting = map(int, FORK_LINE.search(result.stdout).groups())
    yield Row("forks: children, while four threads use the log", times.forked_children, waiting, "",
              seconds)
    yield Row("forks: lines of these children", times.forked_children * LINES_OF_A_CHILD,
              missing + doubled + damaged, "", seconds)


def test_row(work, program, test, seeds, environment=None):
    """The row of tests that say how often they have done something. A failed test is a loss."""
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        _, seconds = run([program, f"--gtest_filter=*{test}*",
                          f"--gtest_output=json:{report.name}"], environment, is_checked=False)
        document = json.load(report)
    cases = [case for suite in document["testsuites"] for case in suite["testsuite"]]
    return Row(work, sum(int(case.get("count", 0)) for case in cases),
               document["failures"] + document["errors"], seeds, seconds)


def fault_rows(tests, _times):
    program = tests / "faults" / "fault_tests"
    yield test_row("faults: system calls that fail", program, "FindsTheOutcomesOfItsTable",
                   "each in turn")
    yield test_row("faults: allocations that fail", program, "FindsOutcomesOfItsTableOnly",
                   "each in turn")


def crash_rows(tests, times):
    yield test_row("crashes of 11 kinds on 4 kinds of threads", tests / "ext_tests",
                   "IsReportedOnEachKindOfThread", "",
                   {"QZ_CRASH_ROUNDS": str(times.crash_rounds)})


def fuzz_rows(fuzz, times):
    for program in sorted(fuzz.glob("fuzz_*")):
        if program.suffix:
            continue
        name = program.name[len("fuzz_"):]
        corpus = pathlib.Path("fuzz/corpus") / name
        with tempfile.TemporaryDirectory() as found:
            result, seconds = run([program, f"-max_total_time={times.fuzz}", "-seed=1",
                                   "-print_final_stats=1", "-timeout=25", "-rss_limit_mb=8192",
                                   f"-artifact_prefix={found}/", found, corpus], is_checked=False)
        if result.returncode != 0:
            print(result.stdout, file=sys.stderr)
        executions = FUZZ_LINE.search(result.stdout)
        yield Row(f"fuzzed inputs: {name}", int(executions.group(1)) if executions else 0,
                  0 if result.returncode == 0 else 1, "1", seconds)


def print_row(row):
    print(f"{row.work:<52}{row.done:>14,}{row.lost:>8}{row.seconds:>8.0f} s", flush=True)


def write_page(path, rows, command):
    """Writes the table as a page."""
    lines = [
        "# Reliability",
        "",
        "What was done to lose something, and how often something was lost: a line, a file, a "
        "child, a lock that two held, a descriptor, the report of a crash, or the state that a "
        "failure had to leave. "
        f"`{command}` does all of it anew, and makes this page.",
        "",
        f"- machine: {machine_text()}",
        f"- date: {datetime.date.today()}",
        "",
        "| Work | Done | Lost | Seeds | Seconds |",
        "| --- | ---: | ---: | --- | ---: |",
    ]
    lines += [f"| {row.work} | {row.done:,} | {row.lost} | {row.seeds} | {row.seconds:.0f} |"
              for row in rows]
    lines += ["", "Rows of one program have the time of all of it."]
    path.write_text("\n".join(lines) + "\n", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default="build/release")
    parser.add_argument("--fuzz", type=pathlib.Path, default="build/fuzz/fuzz")
    parser.add_argument("--night", action="store_true", help="some hours instead of ten minutes")
    parser.add_argument("--markdown", type=pathlib.Path, metavar="FILE")
    options = parser.parse_args()
    tests = options.build.resolve() / "tests"
    times = Times(options.night)
    rows = []
    for kind in (stress_rows(tests, times), fork_rows(tests, times), fault_rows(tests, times),
                 crash_rows(tests, times), fuzz_rows(options.fuzz.resolve(), times)):
        for row in kind:
            print_row(row)
            rows.append(row)
    if options.markdown:
        command = "./dev figures --night" if options.night else "./dev figures"
        write_page(options.markdown, rows, command + " --markdown FILE")
    sys.exit(1 if any(row.lost for row in rows) else 0)


if __name__ == "__main__":
    main()
