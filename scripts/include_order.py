#!/usr/bin/env python3
"""Checks that the project's own includes point down the folder order.

Each folder may include its own headers and those of folders earlier in
ORDER, never those of a later folder or of another folder in its own group:
that keeps the folders free of cycles, so each layer can be read, tested and
split off without the ones above it. Prints one line per offending include
and exits non-zero when there is one. Folders outside ORDER (testing/,
tests/, demos) are not checked.
"""
import re
import subprocess
import sys

ORDER = [
    ["Keel/core"],
    ["Keel/coding"],
    ["Keel/services"],
    ["Plinth/desktop"],
    ["Plinth/inventory"],
    ["Plinth/permissions"],
    ["Plinth/statusitem", "Plinth/devices"],
    ["Plinth/ui"],
    ["VantorLauncher"],
    ["tools"],
]
RANK = {folder: rank for rank, group in enumerate(ORDER) for folder in group}
INCLUDE = re.compile(r'\s*#\s*include\s+"([^"]+)"')


def folder_of(path):
    """The ordered folder that holds `path`, or None."""
    parts = path.split("/")
    for depth in (2, 1):
        folder = "/".join(parts[:depth])
        if folder in RANK and len(parts) > depth:
            return folder
    return None


def main():
    files = subprocess.run(["git", "ls-files", "*.h", "*.cpp"], check=True, capture_output=True,
                           text=True).stdout.split()
    offences = 0
    for path in files:
        source = folder_of(path)
        if source is None:
            continue
        with open(path, encoding="utf-8", errors="replace") as lines:
            for number, line in enumerate(lines, 1):
                match = INCLUDE.match(line)
                if match is None:
                    continue
                target = folder_of(match.group(1))
                if target is None or target == source or RANK[target] < RANK[source]:
                    continue
                print(f"{path}:{number}: includes {match.group(1)}, but {target} is not below {source}")
                offences += 1
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main())
