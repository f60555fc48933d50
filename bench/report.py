#!/usr/bin/env python3
"""Puts the figures of bench.sh into the table of docs/measurements.md and draws how cost grows.

usage: report.py RESULTS PAGE SVG
RESULTS is the directory that bench.sh filled; the table goes between the two marks of the page.
"""

import json
import math
import os
import platform
import re
import subprocess
import sys
from collections import OrderedDict

BEGIN = "<!-- what bench.sh measured -->\n"
END = "<!-- end of what bench.sh measured -->\n"

# What a row's time may be of the other's.
GOALS = {
    "scsend": {"popen": 1.2},
    "execGetLines of echo": {"floor": 1.05},
    "execGetLines of MB": {"getline": 0.9},
    "ilog": {"floor": 1.05, "spdlog": 1.0},
    "ilog from processes": {"floor": 1.15, "spdlog": 1.0},
    "getFileList, flat": {"filesystem": 1.0, "fts": 1.0},
    "getTotalFileSize, flat": {"filesystem": 1.0, "fts": 1.0, "du": 1.0},
    "getTotalFileSize, deep": {"filesystem": 1.0, "fts": 1.0, "du": 1.0},
    "removeFiles": {"rm": 1.6},
}
# Functions on texts: only their cost may not grow faster than the other's.
TEXT_ROWS = {"split into vector", "split into list", "join", "trim", "trim in a buffer", "shellEsc",
             "quoteEsc", "replaceEnvValue", "matchWild", "justifyPath", "getCanonicalPath", "format",
             "commas"}
# Rows whose goal is for the largest size; for all others it is for each size.
LARGEST_ONLY = {"execGetLines of MB", "getFileList, flat", "getTotalFileSize, flat",
                "getTotalFileSize, deep", "removeFiles"}
ONE_SIZE = {"scsend"}
# What is not to be slower may be so by what two runs of the same differ.
TOLERANCE = 1.05


def read_times(paths, order):
    """Row -> who -> size -> median in nanoseconds, in the order of the benchmark's own list."""
    units = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    medians = {}
    runs = []
    for path in paths:
        with open(path) as file:
            runs += json.load(file)["benchmarks"]
    for run in runs:
        if run.get("aggregate_name") != "median":
            continue
        row, who, size = run["run_name"].split("/")[:3]
        medians[row, who, int(size)] = run["real_time"] * units[run["time_unit"]]
    rows = OrderedDict()
    for row, who, sizes in order:
        rows.setdefault(row, OrderedDict())[who] = OrderedDict(
            (int(size), medians[row, who, int(size)]) for size in sizes.split())
    return rows


def read_table(path):
    with open(path) as file:
        return [line.rstrip("\n").split("\t") for line in file]


def exponent(costs):
    """The slope that fits the logarithms of size and cost best."""
    points = [(math.log(size), math.log(cost)) for size, cost in costs.items()]
    count = len(points)
    if count < 2:
        return None
    mean_x = sum(x for x, _ in points) / count
    mean_y = sum(y for _, y in points) / count
    return (sum((x - mean_x) * (y - mean_y) for x, y in points) /
            sum((x - mean_x) ** 2 for x, _ in points))


def ratio(text):
    return f"{text:.2f}"


def verdict(row, who, ratios, growth):
    """The goal and whether it is reached, of the ratios by size and of the two exponents."""
    if row in TEXT_ROWS:
        reached = round(growth[0], 2) <= round(growth[1] * TOLERANCE, 2)
        return "growth", "yes" if reached else "**no**"
    goals = GOALS.get(row, {})
    if who not in goals:
        return "", ""
    looked_at = list(ratios.values())
    if row in LARGEST_ONLY:
        looked_at = looked_at[-1:]
    if row in ONE_SIZE:
        looked_at = looked_at[:1]
    goal = goals[who]
    most = round(goal * (TOLERANCE if goal == 1 else 1), 2)
    return f"{goal:g}", "yes" if all(round(r, 2) <= most for r in looked_at) else "**no**"


def table(rows, counts):
    lines = ["| what | sizes | against | time, as a ratio at each size | goal | reached | "
             "grows with | system calls | instructions |",
             "|---|---|---|---|---|---|---|---|---|"]
    for row, all_costs in rows.items():
        own = all_costs["moxel"]
        others = OrderedDict((who, costs) for who, costs in all_costs.items()
                             if who != "moxel" and who != "list alone")
        sizes = ", ".join(str(size) for size in own)
        own_exponent = exponent(own)
        if not others:
            lines.append(f"| {row} | {sizes} | | {own[next(iter(own))] / 1000:.1f} µs | | | | "
                         f"{counts[row, 'moxel'][0]} | {counts[row, 'moxel'][1]:,} |")
        for who, costs in others.items():
            ratios = OrderedDict((size, own[size] / costs[size]) for size in own)
            goal, reached = verdict(row, who, ratios, (own_exponent, exponent(costs)))
            growth = f"{own_exponent:.2f} : {exponent(costs):.2f}"
            calls = instructions = ""
            if (row, who) in counts:
                pair = list(zip(counts[row, "moxel"], counts[row, who]))
                calls = f"{pair[0][0]} : {pair[0][1]}"
                instructions = f"{pair[1][0]:,} : {pair[1][1]:,}"
            lines.append(f"| {row} | {sizes} | {who} | "
                         f"{' · '.join(ratio(r) for r in ratios.values())} | {goal} | {reached} | "
                         f"{growth} | {calls} | {instructions} |")
    return lines


def beside_floors(rows, counts):
    """The goals that hold for every row that has a floor."""
    measured = {row: exponent(costs["moxel"]) - exponent(costs["floor"])
                for row, costs in rows.items()
                if "floor" in costs and row not in ONE_SIZE and row not in TEXT_ROWS}
    row = max(measured, key=measured.get)
    yield ("exponent of the cost above the floor's, at most", f"{measured[row]:.2f} ({row})", "0.05",
           measured[row] <= 0.05)
    calls = {row: counts[row, "moxel"][0] / counts[row, "floor"][0]
             for row in rows if row.startswith("get") and "floor" in rows[row]}
    row = max(calls, key=calls.get)
    yield ("system calls of `getFileList` and `getTotalFileSize` beside the floor's, at most",
           f"{calls[row]:.3f} ({row})", "1.05", calls[row] <= 1.05)


def further(rows, counts, peaks, start):
    """The goals that are no ratio of times."""
    peak_kb = {name: int(kb) for name, kb in peaks}
    lines = ["", "| what | measured | goal | reached |", "|---|---|---|---|"]

    def line(what, measured, goal, reached):
        lines.append(f"| {what} | {measured} | {goal} | {'yes' if reached else '**no**'} |")

    line("`scsend` without a child, instructions", f"{start:,}", "350,000", start <= 350000)
    command = peak_kb["scsend"]
    program = peak_kb["popen"]
    line("peak of memory of `scsend`, beside popen's", f"{command} KB : {program} KB = "
         f"{command / program:.2f}", "1.6", command <= 1.6 * program)
    filled = peak_kb["moxel"]
    alone = peak_kb["list alone"]
    line("peak of memory of `execGetLines` of 200 MB, above the list's own",
         f"{filled - alone} KB", "1024 KB", filled - alone <= 1024)
    processes = rows["ilog from processes"]["moxel"]
    kept = processes[2] / processes[64]
    line("lines a second of 64 processes that log, beside those of 2", f"{kept:.0%}", "80 %",
         kept >= 0.8)
    removal = rows["removeFiles"]["moxel"]
    sizes = list(removal)
    flat = (removal[sizes[-1]] / sizes[-1]) / (removal[sizes[0]] / sizes[0])
    line("cost of `removeFiles` for each entry, 100,000 beside 1,000", f"{flat:.2f}", "flat",
         flat <= 1.1)
    for what in beside_floors(rows, counts):
        line(*what)
    return lines


def bridge_line(rows, counts):
    start = counts["start of the gettext bridge", "moxel"][1]
    taken = rows["start of the gettext bridge"]["moxel"][275] / 1000
    return (f"| start of the gettext bridge | {start:,} instructions, {taken:.1f} µs | 100 µs | "
            f"{'yes' if taken < 100 else '**no**'} |")


def machine():
    model = "a processor"
    with open("/proc/cpuinfo") as file:
        found = re.search(r"model name\s*:\s*(.*)", file.read())
        if found:
            model = found.group(1)
    compiler = subprocess.run(["g++", "--version"], capture_output=True, text=True, check=True)
    return (f"{os.cpu_count()} × {model}, Linux {platform.release()}, "
            f"{platform.libc_ver()[0]} {platform.libc_ver()[1]}, {compiler.stdout.splitlines()[0]}")


def draw(rows, svg):
    """One plot for each row whose cost grows, by gnuplot."""
    growing = [row for row in rows if len(rows[row]["moxel"]) > 2 and
               row != "ilog from processes" and
               any(exponent(costs) > 0.1 for costs in rows[row].values())]
    columns = 4
    height = math.ceil(len(growing) / columns)
    script = [f"set terminal svg size 1200,{260 * height} font 'sans,10' background 'white'",
              f"set output '{svg}'", f"set multiplot layout {height},{columns}",
              "set logscale xy", "set key left top font ',8' samplen 1", "set format x '10^{%T}'",
              "set format y '%.0s %cs'", "set xtics font ',8'", "set ytics font ',8'"]
    for row in growing:
        script.append(f"set title '{row}'")
        plots = []
        for index, (who, costs) in enumerate(rows[row].items()):
            script.append(f"$data{index} << end")
            script += [f"{size} {cost / 1e9}" for size, cost in costs.items()]
            script.append("end")
            width = 3 if who == "moxel" else 1
            plots.append(f"$data{index} with linespoints linewidth {width} title '{who}'")
        script.append("plot " + ", ".join(plots))
    subprocess.run(["gnuplot"], input="\n".join(script) + "\n", text=True, check=True)


def main():
    results, readme, svg = sys.argv[1:4]
    rows = read_times([os.path.join(results, name) for name in ("forks.json", "times.json")],
                      read_table(os.path.join(results, "list")))
    counts = {(row, who): (int(calls), int(instructions)) for row, who, calls, instructions in
              read_table(os.path.join(results, "counts"))}
    with open(os.path.join(results, "start")) as file:
        start = int(file.read().replace(",", ""))
    lines = [machine() + ".", ""]
    lines += table(rows, counts)
    lines += further(rows, counts, read_table(os.path.join(results, "peaks")), start)
    lines.append(bridge_line(rows, counts))
    with open(readme) as file:
        text = file.read()
    before, _, rest = text.partition(BEGIN)
    _, _, after = rest.partition(END)
    with open(readme, "w") as file:
        file.write(before + BEGIN + "\n" + "\n".join(lines) + "\n\n" + END + after)
    draw(rows, svg)


if __name__ == "__main__":
    main()
