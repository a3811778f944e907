#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the tests that a build has registered as an unprivileged user: test_unprivileged.py BUILD [NAME...]

Root may do what others may not, so a test can pass as root and fail for everybody else. Nothing is
built. The tests get a home and a temporary folder of their own, and must leave nothing in either, nor
in /tmp. NAME selects tests, as a regular expression.
"""

import concurrent.futures
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

NOBODY = 65534
# A shell between, so that the test has a parent process of the same user.
AS_NOBODY = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups",
             "sh", "-c", '"$@"; exit $?', "sh"]
LONGEST_SEC = 1200


def registered_tests(build: str) -> list[dict]:
    listing = subprocess.run(
        ["ctest", "--test-dir", build, "--show-only=json-v1"],
        check=True, capture_output=True, text=True)
    return json.loads(listing.stdout)["tests"]


def properties(test: dict) -> dict:
    return {each["name"]: each["value"] for each in test.get("properties", [])}


def run(test: dict, scratch: pathlib.Path) -> str:
    """Runs one test. Returns what is wrong, or an empty text."""
    values = properties(test)
    home = scratch / test["name"]
    temporary = home / "tmp"
    temporary.mkdir(parents=True)
    for folder in (home, temporary):
        os.chown(folder, NOBODY, NOBODY)
    environment = {**os.environ, "HOME": str(home), "TMPDIR": str(temporary), "USER": "nobody",
                   "LOGNAME": "nobody"}
    environment |= dict(line.split("=", 1) for line in values.get("ENVIRONMENT", []))
    try:
        done = subprocess.run(
            [*AS_NOBODY, *test["command"]],
            cwd=home, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, timeout=LONGEST_SEC)
    except subprocess.TimeoutExpired as expired:
        return f"runs for more than {LONGEST_SEC} s\n{(expired.output or b'').decode(errors='replace')}"
    if done.returncode not in (0, values.get("SKIP_RETURN_CODE")):
        return f"status {done.returncode}\n{done.stdout.decode(errors='replace')}"
    left = [path.name for folder in (home, temporary) for path in folder.iterdir()
            if path != temporary]
    return f"leaves {' '.join(sorted(left))}" if left else ""


def may_read(build: str) -> bool:
    return subprocess.run([*AS_NOBODY, "test", "-r", f"{os.path.abspath(build)}/CTestTestfile.cmake"]
                          ).returncode == 0


def owned_by_nobody(folder: str) -> set[str]:
    return {entry.path for entry in os.scandir(folder)
            if entry.stat(follow_symlinks=False).st_uid == NOBODY}


def main() -> int:
    if os.geteuid() != 0:
        print("Not root: the tests have run as an unprivileged user already")
        return 0
    build, *names = sys.argv[1:]
    tests = [test for test in registered_tests(build)
             if any(re.search(name, test["name"]) for name in names or [""])
             and "bench" not in properties(test).get("LABELS", [])]
    if not may_read(build):
        print(f"User {NOBODY} may not read {build}: clone into a folder that everybody may read")
        return 1
    if not tests:
        print("No test has such a name")
        return 1
    scratch = pathlib.Path(tempfile.mkdtemp())
    scratch.chmod(0o755)
    before = owned_by_nobody("/tmp")
    failed = []
    try:
        # One more at a time than there are processors, as many tests wait for something.
        with concurrent.futures.ThreadPoolExecutor((os.cpu_count() or 1) + 1) as pool:
            for test, problem in zip(tests, pool.map(lambda test: run(test, scratch), tests)):
                if problem:
                    failed.append(test["name"])
                    print(f"{test['name']}: {problem}", flush=True)
    finally:
        shutil.rmtree(scratch)
    if left := owned_by_nobody("/tmp") - before:
        failed.append(f"left in /tmp: {' '.join(sorted(left))}")
    print(f"{len(tests)} tests as user {NOBODY}; failed: {', '.join(failed) or 'none'}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
