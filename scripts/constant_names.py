#!/usr/bin/env python3
"""Checks that no constant is named with a `k` prefix.

Constants are named in camelBack like every other variable, as the public
API's constants are. clang-tidy's naming check enforces camelBack for them,
but `kName` is itself camelBack, so the prefix is caught here. Prints one line
per offending declaration and exits non-zero when there is one.
"""
import re
import subprocess
import sys

# A name with the prefix, declared const or constexpr (variables, members,
# arrays) or listed as an enumerator.
DECLARED = re.compile(r"\b(constexpr|const)\b[^;(]*?\b(k[A-Z][A-Za-z0-9_]*)\s*(=|\{|\[|;)")
ENUMERATOR = re.compile(r"^\s*(k[A-Z][A-Za-z0-9_]*)\s*(=[^=]|,|$)")


def offending_lines(text):
    """(line number, name) of each prefixed constant declared in `text`."""
    in_enum = False
    for number, line in enumerate(text.split("\n"), 1):
        code = line.split("//", 1)[0]
        if re.search(r"\benum\b", code):
            in_enum = True
        declared = DECLARED.search(code)
        enumerator = ENUMERATOR.match(code) if in_enum else None
        if declared:
            yield number, declared.group(2)
        elif enumerator:
            yield number, enumerator.group(1)
        if in_enum and "}" in code:
            in_enum = False


def main():
    files = subprocess.run(["git", "ls-files", "*.h", "*.cpp"], capture_output=True,
                           text=True, check=True).stdout.split()
    found = 0
    for path in files:
        with open(path, encoding="utf-8") as source:
            for number, name in offending_lines(source.read()):
                print(f"{path}:{number}: constant '{name}' has a k prefix; "
                      f"name it in camelBack")
                found += 1
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
