#!/usr/bin/env python3
"""Writes the Debian changelog (gzip -9n) of the packages from CHANGELOG.md.

Each "## VERSION (YYYY-MM-DD)" section becomes one changelog entry whose items
are the section's "- " items; the packages' own version must have a section,
so that a release cannot be packaged without saying what changed.
"""
import argparse
import datetime
import email.utils
import gzip
import re
import sys
import textwrap


def sections(markdown):
    current = None
    for line in markdown.splitlines():
        heading = re.match(r"^## (\S+) \((\d{4}-\d{2}-\d{2})\)\s*$", line)
        if heading:
            current = {"version": heading.group(1), "date": heading.group(2), "items": []}
            yield current
        elif current is not None and line.startswith("- "):
            current["items"].append(line[2:].strip())
        elif current is not None and line.startswith("  ") and current["items"]:
            current["items"][-1] += " " + line.strip()
        elif line.startswith("## "):
            current = None


def entry(source, maintainer, section):
    date = datetime.datetime.strptime(section["date"], "%Y-%m-%d").replace(tzinfo=datetime.timezone.utc)
    lines = [f"{source} ({section['version']}) unstable; urgency=medium", ""]
    for item in section["items"]:
        wrapped = textwrap.wrap(item, width=76, break_on_hyphens=False)
        lines.append("  * " + wrapped[0])
        lines.extend("    " + rest for rest in wrapped[1:])
    lines += ["", f" -- {maintainer}  {email.utils.format_datetime(date)}", ""]
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--source", required=True)
    parser.add_argument("--maintainer", required=True)
    parser.add_argument("--version", required=True)
    parser.add_argument("markdown")
    parser.add_argument("output")
    args = parser.parse_args()
    with open(args.markdown, encoding="utf-8") as f:
        found = [s for s in list(sections(f.read())) if s["items"]]
    if not any(s["version"] == args.version for s in found):
        sys.exit(f"debian-changelog: {args.markdown} has no section for version {args.version}")
    text = "\n".join(entry(args.source, args.maintainer, s) for s in found)
    with open(args.output, "wb") as f:
        # mtime 0 and no file name: the same bytes on every build.
        f.write(gzip.compress(text.encode("utf-8"), compresslevel=9, mtime=0))


if __name__ == "__main__":
    main()
