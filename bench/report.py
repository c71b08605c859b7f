#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the table and draws the chart of the figures of tamsel_bench.

report.py FIGURES            prints the table, and which targets are met
report.py FIGURES --quick    without targets
report.py FIGURES --strict   also exits with 1 when a target is missed
report.py FIGURES --publish  also writes docs/performance.svg, the table of docs/performance.md, and
                             the targets of docs/benchmarks.md
"""
import json
import math
import re
import sys

# Operation, number of keys, the column that is checked, its bounds.
TARGETS = [
    ("baseline against itself", 1000, "ratio", 0.97, 1.03),
    ("(two readers: )?static Get, (int|string|missing)", 1000, "ratio", 0, 1.05),
    ("(two readers: )?Get, .*", 1000, "ratio", 0, 1.08),
    ("load", 1000, "ratio", 0, 1.35),
    ("Set on disk", 100, "ratio", 0, 1.45),
    ("Set on tmpfs", 100, "ratio", 0, 5),
    ("journalled Set against Set on disk", 100, "ratio", 0, 3.3),
    ("Transact of 100 against journalled Set", 100, "ratio", 0, 2),
    ("merge, nobody else wrote", 1000, "ratio", 0, 1.05),
    ("HasChanged, idle", 1000, "ratio", 0, 1.05),
    ("heap bytes a key", 1000, "ours", 0, 175),
]
SIZES = [10, 100, 1000, 10000]
DRAWN = {
    "Set on disk": "#b03a2e",
    "Set on tmpfs": "#e08214",
    "load": "#2166ac",
    "GetAllConfigKeys": "#1b7837",
    "Get, int in defaults": "#555555",
    "Get, int in overlay": "#0097a7",
    "static Get, int": "#c51b7d",
}


def medians(figures):
    """Returns {operation: {keys: counters}} in the order of the program."""
    rows = {}
    runs = [run for run in figures["benchmarks"] if run.get("aggregate_name") == "median"]
    for run in sorted(runs, key=lambda run: run["family_index"]):
        name, keys = run["run_name"].split("/")[:2]
        rows.setdefault(name, {})[int(keys)] = run
    return rows


def duration(nanoseconds):
    for unit, size in ("ms", 1e6), ("µs", 1e3), ("ns", 1):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return "0 ns"


def cell(name, run):
    if run is None:
        return ""
    ours = f"{run['ours']:.0f} B" if name.startswith("heap") else duration(run["ours"])
    return f"{ours} ×{run['ratio']:.2f}"


def target(name, row):
    """Returns the target as text and whether it is met; None if there is none."""
    for pattern, keys, column, low, high in TARGETS:
        if re.fullmatch(pattern, name) and keys in row:
            met = low <= row[keys][column] <= high
            bounds = f"{low} to {high}" if low else f"≤ {high}"
            unit = " B" if column == "ours" else ""
            return f"{bounds}{unit} at {keys}: {'met' if met else 'NOT MET'}", met
    return None


def table(rows, with_targets):
    head = ["operation"] + [f"{keys} keys" for keys in SIZES] + ["target"] * with_targets
    lines = [head]
    for name, row in rows.items():
        found = target(name, row)
        lines.append([name] + [cell(name, row.get(keys)) for keys in SIZES]
                     + [found[0] if found else ""] * with_targets)
    return lines


def plain(lines):
    widths = [max(map(len, column)) for column in zip(*lines)]
    return "\n".join("  ".join(map(str.ljust, line, widths)).rstrip() for line in lines)


def markdown(lines):
    aligned = ["---:" if column.endswith(" keys") else "---" for column in lines[0]]
    return "\n".join("| " + " | ".join(line) + " |" for line in [lines[0], aligned] + lines[1:])


def targets(rows):
    found = [(name, target(name, row)) for name, row in rows.items()]
    return [["operation", "target"]] + [[name, result[0]] for name, result in found if result]


def picture(rows):
    left, top, width, height, low, high = 70, 30, 520, 440, 1, 8  # 10 ns to 100 ms

    def x(keys):
        return left + width * (math.log10(keys) - 1) / 3

    def y(nanoseconds):
        return top + height * (high - math.log10(nanoseconds)) / (high - low)

    svg = ['<svg xmlns="http://www.w3.org/2000/svg" width="790" height="530" font-size="13"'
           ' font-family="sans-serif">', '<rect width="790" height="530" fill="white"/>']
    for power in range(low, high + 1):
        line = y(10**power)
        svg.append(f'<path d="M{left} {line:.0f}h{width}" stroke="#ddd"/><text x="{left - 8}"'
                   f' y="{line + 4:.0f}" text-anchor="end">{duration(10**power)}</text>')
    for keys in SIZES:
        line = x(keys)
        svg.append(f'<path d="M{line:.0f} {top}v{height}" stroke="#ddd"/><text x="{line:.0f}"'
                   f' y="{top + height + 20}" text-anchor="middle">{keys}</text>')
    svg.append(f'<text x="{left + width / 2}" y="{top + height + 44}" text-anchor="middle">'
               'number of keys</text>')
    labels_end = 0
    for name in sorted(DRAWN, key=lambda name: -rows[name][SIZES[-1]]["ours"]):
        points = [(x(keys), y(rows[name][keys]["ours"])) for keys in SIZES]
        path = " ".join(f"{a:.0f},{b:.1f}" for a, b in points)
        # Labels keep clear of one another, each a line below the one before.
        labels_end = max(points[-1][1] + 4, labels_end + 17)
        svg.append(f'<g fill="{DRAWN[name]}"><polyline fill="none" stroke="{DRAWN[name]}"'
                   f' stroke-width="2" points="{path}"/>')
        svg += [f'<circle cx="{a:.0f}" cy="{b:.1f}" r="3"/>' for a, b in points]
        svg.append(f'<text x="{left + width + 10}" y="{labels_end:.0f}">{name}</text></g>')
    return "\n".join(svg + ["</svg>", ""])


def machine(context):
    return (f"{context['cpu']}, {context['num_cpus']} cores, {context['kernel']},"
            f" {context['compiler']} at `-O3`, jsoncpp {context['jsoncpp']};\n{context['date'][:10]},"
            f" load {context['load_avg'][0]:.1f} at the start.")


def replace_measured(path, text):
    with open(path, encoding="utf-8") as file:
        before, _, rest = file.read().partition("<!-- measured -->\n")
    after = rest.partition("<!-- /measured -->")[2]
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{before}<!-- measured -->\n{text}\n<!-- /measured -->{after}")


def publish(figures, rows):
    with open("docs/performance.svg", "w", encoding="utf-8") as file:
        file.write(picture(rows))
    context = machine(figures["context"])
    replace_measured("docs/performance.md", f"{context}\n\n{markdown(table(rows, False))}")
    replace_measured("docs/benchmarks.md", f"{context}\n\n{markdown(targets(rows))}")


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        figures = json.load(file)
    rows = medians(figures)
    is_quick = "--quick" in sys.argv
    print(plain(table(rows, not is_quick)))
    print("\nThe median time of an operation, and its ratio to the baseline.")
    if is_quick:
        return
    found = {name: target(name, row) for name, row in rows.items()}
    missed = [name for name, result in found.items() if result and not result[1]]
    print("Targets not met: " + "; ".join(missed) if missed else "Every target is met.")
    if "--publish" in sys.argv:
        publish(figures, rows)
    if "--strict" in sys.argv and missed:
        sys.exit(1)


main()
