#!/usr/bin/env python3
"""Judges a coverage report of gcovr (JSON, on standard input): every line of src/ is run and 95 % of the
branches are taken, but for the exceptions that are listed with their reasons; each of these is needed.

usage: coverage.py EXCEPTIONS <REPORT
"""

import json
import sys

LINES = 100.0
BRANCHES = 95.0


def exceptions(name):
    """(file, line's text, whether the line is run) -> reason. A reason stands above the lines that it
    holds for."""
    listed = {}
    reason = ""
    with open(name, encoding="utf-8") as file:
        for line in file:
            line = line.rstrip("\n")
            if line.startswith("# "):
                reason = line[2:]
            elif line:
                path, _, text = line.partition(": ")
                run = not path.endswith(" (not run)")
                listed[path.split(" ")[0], text.strip(), run] = reason
    return listed


def main():
    listed = exceptions(sys.argv[1])
    used = set()
    lines = branches = run = taken = raw = raw_taken = 0
    for file in json.load(sys.stdin)["files"]:
        with open(file["file"], encoding="utf-8") as source:
            texts = source.read().split("\n")
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            text = texts[line["line_number"] - 1].strip()
            if text == "}":  # newer compilers count the end of a function that throws
                continue
            counts = [b["count"] for b in line["branches"] if not b.get("throw")]
            missed = sum(count == 0 for count in counts)
            raw += len(counts)
            raw_taken += len(counts) - missed
            key = (file["file"], text, line["count"] > 0)
            if (missed or not line["count"]) and key in listed:
                used.add(key)
                continue
            lines += 1
            run += line["count"] > 0
            branches += len(counts)
            taken += len(counts) - missed
            if missed or not line["count"]:
                print("%s:%d: %s%s" % (file["file"], line["line_number"],
                                       "%d of %d branches missed: " % (missed, len(counts))
                                       if line["count"] else "not run: ", text))
    needless = sorted(set(listed) - used)
    for path, text, _ in needless:
        print("no exception any more: %s: %s" % (path, text))
    line_share = 100.0 * run / lines
    branch_share = 100.0 * taken / branches
    print("coverage of src/: %d of %d lines (%.1f %%), %d of %d branches (%.1f %%); %d lines are exceptions, "
          "with them %.1f %% of the branches" % (run, lines, line_share, taken, branches, branch_share,
                                                len(used), 100.0 * raw_taken / raw))
    sys.exit(0 if line_share >= LINES and branch_share >= BRANCHES and not needless else 1)


main()
