#!/usr/bin/env python3
"""Runs `tagwire watch` and `tagwire doctor` in a terminal of their own against virtual readers, and draws what they
showed as animated pictures.

    docs/record.py BUILD_FOLDER [FOLDER_OF_PICTURES]
"""

import fcntl
import html
import os
import pathlib
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time

COLUMNS, ROWS = 98, 22
COLOURS = {"1": "font-weight='bold'", "2": "fill-opacity='.5'", "31": "fill='#ff7b72'", "32": "fill='#7ee787'",
           "33": "fill='#e3b341'"}

GATE = """[reader]
antennas = 2
report_rate = 60
[antenna.1]
position = [0, 0, 2.2]
facing = [0, 0, -1]
[antenna.2]
position = [1.5, 0, 2.2]
facing = [0, 0, -1]
[[conveyor]]
epc = "E280116060000209"
count = 8
spacing = 1.1
speed = 0.7
from = [-2.2, 0, 0.6]
to = [3.8, 0, 0.6]
axis = [1, 0, 0]
[[tag]]
epc = "3034000040C0000400000004"
position = [0.3, 0.1, 0.2]
axis = [1, 0, 0]
"""
DOCK = """[reader]
antennas = 2
report_rate = 20
[[tag]]
epc = "AD0012345678000000000001"
rssi = 96
antennas = [2]
"""
TROUBLE = """[reader]
antennas = 4
report_rate = 20
[antenna.3]
plugged = false
[[tag]]
epc = "E28011606000020900000001"
antennas = [1]
[[tag]]
epc = "E28011606000020900000002"
antennas = [2]
"""


class Screen:
    """As much of a terminal as the tool uses."""

    def __init__(self):
        self.lines, self.row, self.column, self.style = [], 0, 0, ""

    def put(self, text):
        for part in re.findall(r"\x1b\[[0-9;]*[A-Za-z]|[^\x1b]", text):
            if part.startswith("\x1b"):
                self.control(part[2:-1], part[-1])
            elif part == "\r":
                self.column = 0
            elif part == "\n":
                self.row += 1
            else:
                self.cells().extend([(" ", "")] * (self.column - len(self.cells())))
                self.cells()[self.column:self.column + 1] = [(part, self.style)]
                self.column += 1

    def cells(self):
        while len(self.lines) <= self.row:
            self.lines.append([])
        return self.lines[self.row]

    def control(self, numbers, what):
        if what == "m":
            self.style = numbers
        elif what == "A":
            self.row = max(0, self.row - int(numbers or 1))
        elif what == "K":
            del self.cells()[self.column:]
        elif what == "J":
            del self.lines[self.row:]


def start_reader(build, scenario, folder, name, address="127.0.0.1"):
    path = folder / f"{name}.toml"
    path.write_text(scenario)
    process = subprocess.Popen([build / "sim/tagwire-sim", "--listen", f"{address}:0", "--scenario", path],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    return process, "tcp://" + process.stdout.readline().split()[-1]


def record(command, typed=(), every=0.0):
    """The screens that were seen, each with its time; keys are typed at their times."""
    process, terminal = pty.fork()
    if process == 0:
        os.environ["TERM"] = "xterm-256color"
        os.environ.pop("NO_COLOR", None)
        os.execv(command[0], command)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, COLUMNS, 0, 0))
    screen, screens, start, waiting = Screen(), [], time.monotonic(), list(typed)
    while True:
        now = time.monotonic() - start
        while waiting and now >= waiting[0][0]:
            os.write(terminal, waiting.pop(0)[1].encode())
        if not select.select([terminal], [], [], 0.05)[0]:
            continue
        try:
            text = os.read(terminal, 65536).decode()
        except OSError:
            break
        if not text:
            break
        screen.put(text)
        now = time.monotonic() - start
        if not screens or now - screens[-1][0] >= every:
            screens.append((now, [list(line) for line in screen.lines]))
    screens.append((time.monotonic() - start, [list(line) for line in screen.lines]))
    os.waitpid(process, 0)
    return screens


def draw_line(cells, y):
    runs = []
    for character, style in cells:
        if runs and runs[-1][1] == style:
            runs[-1][0] += character
        else:
            runs.append([character, style])
    spans = "".join(f"<tspan {COLOURS.get(style, '')}>{html.escape(text)}</tspan>" for text, style in runs)
    return f"<text y='{y}' xml:space='preserve'>{spans}</text>"


def draw(title, prompt, screens, path):
    height = 18 * (max(len(screen) for _, screen in screens) + 3)
    width = 32 + 7.9 * max(len(line) for _, screen in screens for line in screen)
    total = screens[-1][0] + 3
    frames = []
    for index, (begin, screen) in enumerate(screens):
        end = screens[index + 1][0] if index + 1 < len(screens) else total
        lines = "".join(draw_line(line, 54 + 18 * number) for number, line in enumerate(screen))
        times = f"0;{begin / total:.4f};{min(end / total, 1):.4f};1" if index else f"0;0;{end / total:.4f};1"
        frames.append(f"<g visibility='hidden'>{lines}<animate attributeName='visibility' calcMode='discrete' "
                      f"values='hidden;visible;hidden;hidden' keyTimes='{times}' dur='{total:.2f}s' "
                      f"repeatCount='indefinite'/></g>")
    # Where nothing moves, the last screen is what is seen.
    frames[-1] = frames[-1].replace("visibility='hidden'", "visibility='visible'", 1)
    path.write_text(
        f"<svg xmlns='http://www.w3.org/2000/svg' width='{width:.0f}' height='{height}' role='img'>"
        f"<title>{html.escape(title)}</title><rect width='100%' height='100%' rx='8' fill='#0d1117'/>"
        f"<g transform='translate(16 0)' font-family='monospace' font-size='13' fill='#e6edf3'>"
        f"<text y='28' fill='#8b949e'>$ {html.escape(prompt)}</text>{''.join(frames)}</g></svg>\n")


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    pictures = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else pathlib.Path(__file__).parent
    tool = str(build / "tools/tagwire/tagwire")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        readers = [start_reader(build, GATE, folder, "gate"), start_reader(build, DOCK, folder, "dock", "127.0.0.2"),
                   start_reader(build, TROUBLE, folder, "trouble", "127.0.0.3")]
        (gate, gate_url), (dock, dock_url), (_, trouble_url) = readers
        try:
            screens = record([tool, "watch", "--reader", f"gate={gate_url}", "--reader", f"dock={dock_url}",
                              "--reconnect"], [(5, "r"), (9, "e"), (12, "q")], every=0.7)
            draw("tagwire watch: tags come and go at two readers", "tagwire watch --readers gates.toml --reconnect",
                 screens, pictures / "watch.svg")
            at_trouble = ["--reader", trouble_url]
            for words in (["antenna", "enable", "1-3"], ["inventory", "--session", "S2", "--count"]):
                subprocess.run([tool, *words, *at_trouble], check=True, capture_output=True)
            screens = record([tool, "doctor", "--region", "eu", *at_trouble])
            draw("tagwire doctor: what keeps tags from being read", "tagwire doctor --region eu", screens,
                 pictures / "doctor.svg")
        finally:
            for process, _ in readers:
                process.send_signal(signal.SIGTERM)
                process.wait()


if __name__ == "__main__":
    main()
