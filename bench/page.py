#!/usr/bin/env python3
"""Writes docs/performance.md and its plots from what `./run bench --json FILE` has written.

Usage: page.py FILE
"""

import html
import json
import pathlib
import statistics
import sys

import report

ROOT = pathlib.Path(__file__).resolve().parent.parent
SCALE = "one Stream"

# Name, and the rows and units that are drawn together, each on a scale of its own.
FAMILIES = {
    "exchanges": ((report.EXCHANGE_TCP, "us"), (report.EXCHANGE_PTY, "us")),
    "reports": ((report.FLOOD, "M/s"), (report.LIVE, "us"), (report.LIVE, "context switches")),
    "idle": ((report.IDLE, "% of a core"), (report.IDLE, "MiB")),
    "memory": (("inventory, a tag a frame", "ns"), ("inventory, ten tags a frame", "ns"), ("CRC of 24 bytes", "GB/s"),
               ("CRC of 256 bytes", "GB/s"), (report.NOISE, "MB/s"), ("Inventory_G2 around a stub", "us")),
    "scale": ((SCALE, "us"), (SCALE, "us p50"), (SCALE, "us p99"), (SCALE, "us p99.9"), (SCALE, "KiB a reader")),
}
CAPTIONS = {
    "exchanges": "A question and its answer; over TCP the whole time, over a pseudo-terminal the client's processor time.",
    "reports": "Reports: as fast as one peer sends them, and 25,500 a second from 255 readers.",
    "idle": "255 readers that have nothing to report.",
    "memory": "Bytes in memory: tags, check sums, noise, a command without a link.",
    "scale": "One Stream: processor time a report, delay from the reader's send to next(), memory a reader.",
}

WIDTH, LABEL, BAR, STEP = 860, 270, 430, 20


def text(x, y, what, style=""):
    return f'<text x="{x}" y="{y}" {style}>{html.escape(what)}</text>'


def colour(who):
    return "#2f6f9f" if who.startswith("tagwire C++") or "readers" in who else "#d9822b" if who.startswith("tagwire") else "#8a8f98"


def plot(groups):
    """Bars of the medians, with a line from quartile to quartile."""
    parts, y = [], 10
    for title, unit, bars in groups:
        y += STEP
        parts.append(text(10, y, f"{title}, {unit}", 'font-weight="bold"'))
        longest = max(max(values) for _, values in bars)
        for who, values in bars:
            y += STEP
            low, middle, high = (value / longest * BAR for value in statistics.quantiles(values, n=4, method="inclusive"))
            parts.append(text(LABEL - 8, y + 4, who, 'text-anchor="end"'))
            parts.append(f'<rect x="{LABEL}" y="{y - 7}" width="{middle:.1f}" height="13" fill="{colour(who)}"/>')
            parts.append(f'<path d="M{LABEL + low:.1f} {y}H{LABEL + high:.1f}" stroke="#222" stroke-width="2"/>')
            parts.append(text(LABEL + BAR + 20, y + 4, report.figure(statistics.median(values))))
        y += STEP // 2
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{y + 10}" font-family="sans-serif" '
            f'font-size="13">\n<rect width="100%" height="100%" fill="#fff"/>\n' + "\n".join(parts) + "\n</svg>\n")


def draw(measured, family):
    groups = []
    for row, unit in FAMILIES[family]:
        bars = sorted((who, values) for (a_row, who, a_unit), values in measured.values.items()
                      if (a_row, a_unit) == (row, unit))
        if bars:
            groups.append((row, unit, bars))
    (ROOT / "docs" / f"performance-{family}.svg").write_text(plot(groups))
    return f"![{CAPTIONS[family]}](performance-{family}.svg)\n\n{CAPTIONS[family]}\n"


def scale_table(measured):
    units = ("us", "us p50", "us p99", "us p99.9", "KiB a reader", "% taken")
    lines = ["| readers, reports | processor time a report, us | delay p50, us | p99, us | p99.9, us | KiB a reader | taken in time, % |",
             "|---|---|---|---|---|---|---|"]
    for who in sorted({who for row, who, _ in measured.values if row == SCALE}):
        cells = (report.figure(measured.median(SCALE, who, unit)) for unit in units)
        lines.append(f"| {who} | " + " | ".join(cells) + " |")
    return "\n".join(lines)


def main():
    data = json.loads(pathlib.Path(sys.argv[1]).read_text())
    measured = report.Measured(data["measured"])
    about = data["about"]
    plain = "| " + " | ".join(["{}"] * len(report.HEAD)) + " |"
    table = [plain.format(*report.HEAD), "|" + "---|" * len(report.HEAD)]
    table += report.table(measured.rows(), plain)
    counts = json.loads((ROOT / "cmake" / "instructions.json").read_text())
    instructions = ["| machine | report | exchange | decoding |", "|---|---|---|---|"]
    instructions += [f"| {machine} | {n['report']} | {n['exchange']} | {n['decode']} |" for machine, n in counts.items()]
    start = {who: measured.median("start-up", who, "us") for who in ("bare", "tagwire", "tagwire C++")}
    page = (ROOT / "bench" / "performance.md.in").read_text()
    fields = {
        "about": f"{about['date']}, {about['processor']}, {about['processors']} processors with a load of {about['load']} "
                 f"beside the benchmarks, Linux {about['kernel']}",
        "table": "\n".join(table),
        "scale": scale_table(measured),
        "switches": f"{measured.median(report.LIVE, 'tagwire C++', 'context switches'):.1f}",
        "instructions": "\n".join(instructions),
        "start": f"{start['tagwire']:.0f} us for the C library, {start['tagwire C++']:.0f} us for the C++ library "
                 f"({start['bare']:.0f} us for an empty one)",
    }
    for name, value in fields.items():
        page = page.replace(f"@{name}@", value)
    for family in FAMILIES:
        page = page.replace(f"@plot {family}@", draw(measured, family))
    (ROOT / "docs" / "performance.md").write_text(page)


if __name__ == "__main__":
    main()
