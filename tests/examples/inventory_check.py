#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the CSV files of the inventory with the files themselves.

inventory_check.py [--some] CSV... -- FOLDER...: all files below the folders have a row, and no row
has another file. With --some rows may be missing, not wrong. Prints the number of rows.
"""

import csv
import os
import stat
import sys

HEADER = ["path", "size", "modified", "changed", "accessed", "type", "content"]


def real_files(folders):
    paths = set()
    for folder in folders:
        for parent, names, files in os.walk(folder):
            paths.update(os.path.join(parent, name) for name in files)
    return paths


def look_at(path):
    """Size, times of modification and change, and content as the list tells them."""
    try:
        status = os.stat(path)
    except OSError:  # a link that leads nowhere, or in a circle
        return 0, 0, 0, "missing"
    # In whole seconds towards the past, as `//` cuts.
    look = status.st_size, status.st_mtime_ns // 10**9, status.st_ctime_ns // 10**9
    if not stat.S_ISREG(status.st_mode):
        return *look, "special"
    with open(path, "rb") as file:
        try:
            file.read().decode("utf-8")
        except UnicodeDecodeError:
            return *look, "other"
    return *look, "UTF-8"


def check_row(row):
    entry = dict(zip(HEADER, row, strict=True))
    numbers = (int(entry[name]) for name in ("size", "modified", "changed"))
    found = (*numbers, entry["content"])
    expected = look_at(entry["path"])
    assert found == expected, (row, expected)
    if found[-1] != "missing":
        assert int(entry["accessed"]) <= os.stat(entry["path"]).st_atime, row
    return entry["path"]


def main():
    arguments = sys.argv[1:]
    may_be_some = arguments[0] == "--some"
    split = arguments.index("--")
    listed = []
    for name in arguments[1 if may_be_some else 0 : split]:
        with open(name, newline="", encoding="utf-8") as file:
            assert file.read().endswith("\n"), name
            file.seek(0)
            rows = list(csv.reader(file, strict=True))
        assert rows[0] == HEADER, (name, rows[0])
        listed += [check_row(row) for row in rows[1:]]
    real = real_files(arguments[split + 1 :])
    assert len(listed) == len(set(listed)), "a file has two rows"
    assert set(listed) <= real, set(listed) - real
    assert may_be_some or set(listed) == real, real - set(listed)
    print(len(listed))


main()
