#!/usr/bin/env python3
"""Runs a conveyor of 500 tags at three speeds, scores what the command-line tool reported against what really
happened, and draws the share of tags read.

    sim/rehearse.py BUILD_FOLDER [SVG]
"""

import json
import pathlib
import signal
import subprocess
import sys
import tempfile

SPEEDS = (1, 4, 10)  # metres a second
SCENARIO = pathlib.Path(__file__).parent / "scenarios" / "conveyor.toml"
TRAVEL = 9 * 1 + 4 + 0.5  # metres from the first box's entry to the last one's exit, with room


def rehearse(build, speed, folder):
    scenario = folder / "conveyor.toml"
    text = SCENARIO.read_text()
    assert text.count("speed = 2\n") == 1, f"{SCENARIO} has another speed"
    scenario.write_text(text.replace("speed = 2\n", f"speed = {speed}\nstarts = 1\n"))
    truth, reports = folder / "truth.jsonl", folder / "reports.jsonl"
    simulator = subprocess.Popen(
        [build / "sim/tagwire-sim", "--listen", "127.0.0.1:0", "--scenario", scenario, "--truth", truth],
        stdout=subprocess.PIPE, text=True)
    place = simulator.stdout.readline().split()[-1]
    try:
        with open(reports, "w") as out:
            subprocess.run([build / "tools/tagwire/tagwire", "watch", "--reader", f"tcp://{place}", "--seconds",
                            str(1 + TRAVEL / speed), "--json"], stdout=out, check=True, stderr=subprocess.DEVNULL)
    finally:
        simulator.send_signal(signal.SIGTERM)
        simulator.wait()
    score = subprocess.run([build / "sim/tagwire-sim", "score", truth, reports, "--json"], check=True,
                           capture_output=True, text=True)
    return json.loads(score.stdout)


def plot(shares, path):
    width, height, left, bottom = 520, 260, 60, 40
    bars = []
    for i, (speed, share) in enumerate(shares):
        x = left + 40 + i * 140
        tall = share * (height - bottom - 30)
        y = height - bottom - tall
        bars.append(f'<rect x="{x}" y="{y:.1f}" width="80" height="{tall:.1f}" fill="#4477aa"/>'
                    f'<text x="{x + 40}" y="{y - 6:.1f}" text-anchor="middle">{share:.1%}</text>'
                    f'<text x="{x + 40}" y="{height - bottom + 18}" text-anchor="middle">{speed} m/s</text>')
    path.write_text(
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" font-family="sans-serif" '
        f'font-size="13"><rect width="100%" height="100%" fill="white"/>'
        f'<line x1="{left}" y1="{height - bottom}" x2="{width - 20}" y2="{height - bottom}" stroke="black"/>'
        f'<text x="{left}" y="18">Share of the tags in the field that were read: 500 on the belt</text>{"".join(bars)}</svg>\n')


def main():
    build = pathlib.Path(sys.argv[1])
    shares = []
    for speed in SPEEDS:
        with tempfile.TemporaryDirectory() as folder:
            score = rehearse(build, speed, pathlib.Path(folder))
        print(f"{speed} m/s: {json.dumps(score)[:200]}")
        shares.append((speed, score["read"] / score["tags"]))
    if len(sys.argv) > 2:
        plot(shares, pathlib.Path(sys.argv[2]))


main()
