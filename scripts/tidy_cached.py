#!/usr/bin/env python3
"""Runs clang-tidy over the given sources, skipping each one whose last run was
clean and whose input has not changed since.

A file's input is what clang-tidy sees: its preprocessed text with comments
kept (so NOLINT markers count) and without line markers, the compile command,
.clang-tidy and clang-tidy's version. Paths under the source tree are written
relative to it, so that two checkouts of the same commit share their results.
Only clean results are kept, in $XDG_CACHE_HOME/vantor-lint (or
~/.cache/vantor-lint); findings are always reported afresh.

Usage: tidy_cached.py BUILD_DIR FILE...   (files relative to the source tree)
Prints clang-tidy's findings; exits 1 when there are any.
"""
import concurrent.futures
import hashlib
import json
import os
import shlex
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def preprocess_command(arguments):
    result = []
    skip = False
    for argument in arguments:
        if skip:
            skip = False
            continue
        if argument in ("-o", "-MF", "-MT", "-MQ"):
            skip = True
            continue
        if argument in ("-c", "-MD", "-MMD") or argument.startswith("-Werror"):
            continue
        result.append(argument)
    return result + ["-E", "-C", "-P", "-o", "-"]


def main():
    build = Path(sys.argv[1]).resolve()
    wanted = {str((ROOT / name).resolve()) for name in sys.argv[2:]}
    entries = [e for e in json.loads((build / "compile_commands.json").read_text())
               if str(Path(e["directory"], e["file"]).resolve()) in wanted]
    cache = Path(os.environ.get("XDG_CACHE_HOME", Path.home() / ".cache")) / "vantor-lint"
    cache.mkdir(parents=True, exist_ok=True)
    root = str(ROOT)
    version = subprocess.run(["clang-tidy", "--version"], capture_output=True, text=True).stdout
    common = (version + (ROOT / ".clang-tidy").read_text()).encode()

    def check(entry):
        arguments = shlex.split(entry["command"]) if "command" in entry else entry["arguments"]
        source = str(Path(entry["directory"], entry["file"]).resolve())
        key = hashlib.sha256(common)
        key.update(" ".join(preprocess_command(arguments)).replace(root, "<root>").encode())
        expanded = subprocess.run(preprocess_command(arguments), cwd=entry["directory"],
                                  capture_output=True)
        if expanded.returncode == 0:
            key.update(expanded.stdout.replace(root.encode(), b"<root>"))
            mark = cache / key.hexdigest()
            if mark.exists():
                return ""
        else:
            mark = None  # cannot tell what changed: always run
        tidy = subprocess.run(
            ["clang-tidy", "-quiet", "-p", str(build), "--extra-arg=-Wno-unknown-warning-option", source],
            capture_output=True, text=True)
        findings = "\n".join(line for line in tidy.stdout.splitlines()
                             if "warning:" in line or "error:" in line)
        if tidy.returncode == 0 and not findings and mark is not None:
            mark.touch()
        elif not findings:
            findings = f"{source}: error: clang-tidy failed (exit {tidy.returncode})"
        return findings

    with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count() or 2) as pool:
        reports = [r for r in pool.map(check, entries) if r]
    for report in reports:
        print(report)
    return 1 if reports else 0


if __name__ == "__main__":
    sys.exit(main())
