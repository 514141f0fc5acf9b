#!/usr/bin/env python3
"""Draws docs/pictures/terminal.svg: python3 scripts/lib/terminal_picture.py BUILD_FOLDER PICTURE.

Runs the gateway simulator, the Mux and muxctl on free ports of this host and draws what the two terminals show. Ports
appear in the picture as the usual ones; everything else is as the programs wrote it.
"""
import html
import itertools
import json
import pathlib
import signal
import sys
import tempfile

import pexpect
import pyte

from programs import DEADLINE, PlayError, Program, free_port, wait_until

CARD = "04A1B2C3"
USUAL_GATEWAY_PORT, USUAL_PORT = 2101, 5555
SIMULATOR_SIZE = (94, 20)
MUXCTL_SIZE = (72, 20)

# Pixels: a character, and the space around a terminal.
CHARACTER_WIDTH, LINE_HEIGHT, MARGIN, TITLE_HEIGHT = 7.2, 16, 10, 22
COLOURS = {"red": "#ff7b72", "green": "#56d364", "brown": "#e3b341", "cyan": "#76e3ea"}
BACKGROUND, FOREGROUND, FRAME = "#161b22", "#e6edf3", "#30363d"


class Terminal:
    """A program at a terminal of its own, which writes to a screen that others may have written to before."""

    def __init__(self, screen, *command, kind="vt100"):
        self.screen, self.output = screen, pyte.ByteStream(screen)
        environment = {"TERM": kind, "LC_ALL": "C.UTF-8", "PATH": "/usr/bin:/bin"}
        self.child = pexpect.spawn(command[0], list(command[1:]), env=environment, timeout=DEADLINE,
                                   dimensions=(screen.lines, screen.columns))

    def type(self, text):
        self.child.send(text)

    def read(self, seconds=0.05):
        """Takes what comes within this time. False when nothing did, or nothing will."""
        try:
            self.output.feed(self.child.read_nonblocking(65536, seconds))
        except (pexpect.TIMEOUT, pexpect.EOF):
            return False
        return True

    def wait_for(self, text):
        def there():
            self.read()
            return any(text in line for line in self.screen.display)

        wait_until(there, f'"{text}" on the terminal')

    def wait_for_end(self):
        """Returns the exit status."""
        def ended():
            return not self.read() and not self.child.isalive()

        wait_until(ended, f"the end of {self.child.name}")
        return self.child.exitstatus

    def kill(self):
        self.child.close(force=True)


class Session:
    """A gateway with its simulator, the Mux, and what a person types at both terminals."""

    def __init__(self, build, folder):
        self.build, self.folder = build, folder
        self.gateway_port, self.port = free_port(), free_port()
        self.simulator_screen, self.muxctl_screen = pyte.Screen(*SIMULATOR_SIZE), pyte.Screen(*MUXCTL_SIZE)
        self.started = []

    def start(self, program):
        self.started.append(program)
        return program

    def start_system(self):
        site = self.folder / "site.json"
        site.write_text(json.dumps({"Enabled": True, "Gateways": [
            {"ID": 1, "Description": "Hall", "IpAddress": "127.0.0.1", "Port": self.gateway_port,
             "Devices": [{"Name": "Front door", "ID": 5}, {"Name": "Back door", "ID": 6}]}]}))
        self.simulator = self.start(Terminal(self.simulator_screen, str(self.build / "gateway-simulator"),
                                             "--gateways", str(site)))
        self.simulator.wait_for("not connected")
        self.mux = self.start(Program(str(self.build / "dw-hal-mux-brenk"), "--port", f"--port={self.port}",
                                      "--configFile", str(site), "--logFile", str(self.folder / "mux.log"), "--debug"))
        # The Mux asks for the sequence counter twice, and a request between the questions would share their numbers.
        self.mux.wait_for("Received new sequence number.", 2)

    def start_muxctl(self, *arguments):
        self.print_at_muxctl("$ muxctl " + " ".join(arguments) + "\r\n")
        command = [str(self.build / "muxctl"), "--port", str(self.port), *arguments]
        return self.start(Terminal(self.muxctl_screen, *command))

    def muxctl(self, *arguments, status=0):
        ended = self.start_muxctl(*arguments).wait_for_end()
        if ended != status:
            raise PlayError(f"muxctl {' '.join(arguments)} ended with status {ended}: {self.muxctl_screen.display}")

    def with_usual_ports(self, text):
        return text.replace(f"127.0.0.1:{self.gateway_port}", f"127.0.0.1:{USUAL_GATEWAY_PORT}").replace(
            f"127.0.0.1:{self.port}", f"127.0.0.1:{USUAL_PORT}")

    def print_at_muxctl(self, text):
        pyte.Stream(self.muxctl_screen).feed(text)

    def play(self):
        self.muxctl("open", "--gateway", "1", "--lock", "5")
        self.muxctl("status", "--gateway", "1", "--lock", "6")
        self.muxctl("open", "--gateway", "9", "--lock", "5", status=1)
        self.muxctl("whitelist", "add", "--gateway", "1", "--lock", "5", "--card", CARD, "--uid")
        watch = self.start_muxctl("watch", "--count", "1")
        watch.wait_for("watching")
        # A client that has just connected is known to the Mux once its log has the connection.
        self.mux.wait_for("Accepted connection with FD", 5)
        self.simulator.type(f"card 5 {CARD}\r")
        watch.wait_for_end()
        self.print_at_muxctl("$ ")
        self.simulator.wait_for(f"data {CARD}")
        self.simulator.wait_for("event pending")
        wait_until(self.input_line_is_empty, "the next prompt of the simulator")

    def input_line_is_empty(self):
        self.simulator.read()
        return self.simulator_screen.display[-1].strip() == ">"

    def stop(self):
        self.mux.stop(signal.SIGQUIT, 0)

    def kill(self):
        for program in self.started:
            program.kill()


def spans_of(screen, row):
    """The texts of a row with their first column and a cell that has their style, blanks without a style left out."""
    cells = [screen.buffer[row][column] for column in range(screen.columns)]
    column = 0
    for _, group in itertools.groupby(cells, key=lambda cell: (cell.fg, cell.bold, cell.reverse)):
        span = list(group)
        text = "".join(cell.data for cell in span)
        if not span[0].reverse:
            text = text.rstrip()
        if text:
            yield column, text, span[0]
        column += len(span)


def svg_of_span(left, baseline, text, cell):
    width = len(text) * CHARACTER_WIDTH
    weight = ' font-weight="bold"' if cell.bold else ""
    colour = BACKGROUND if cell.reverse else COLOURS.get(cell.fg, FOREGROUND)
    box = (f'<rect x="{left:.1f}" y="{baseline - 12}" width="{width:.1f}" height="{LINE_HEIGHT}" '
           f'fill="{FOREGROUND}"/>\n') if cell.reverse else ""
    return (f'{box}<text x="{left:.1f}" y="{baseline}" textLength="{width:.1f}" fill="{colour}"{weight}>'
            f'{html.escape(text)}</text>\n')


def svg_of_terminal(screen, title, left, shown):
    width = screen.columns * CHARACTER_WIDTH + 2 * MARGIN
    height = TITLE_HEIGHT + screen.lines * LINE_HEIGHT + 2 * MARGIN
    parts = [f'<rect x="{left:.1f}" width="{width:.1f}" height="{height}" rx="6" fill="{BACKGROUND}" '
             f'stroke="{FRAME}"/>\n',
             f'<text x="{left + width / 2:.1f}" y="16" text-anchor="middle" fill="#8b949e">{title}</text>\n']
    for row in range(screen.lines):
        baseline = TITLE_HEIGHT + MARGIN + row * LINE_HEIGHT + 12
        parts += [svg_of_span(left + MARGIN + column * CHARACTER_WIDTH, baseline, shown(text), cell)
                  for column, text, cell in spans_of(screen, row)]
    return "".join(parts), left + width, height


def picture_of(session):
    first, right, height = svg_of_terminal(session.simulator_screen, "gateway-simulator --gateways site.json", 0,
                                           session.with_usual_ports)
    second, right, _ = svg_of_terminal(session.muxctl_screen, "muxctl", right + MARGIN, session.with_usual_ports)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="-1 -1 {right + 2:.1f} {height + 2}" '
            f'font-family="DejaVu Sans Mono, Menlo, Consolas, monospace" font-size="12" '
            f'style="white-space: pre" xml:space="preserve">\n{first}{second}</svg>\n')


def main(build, picture):
    with tempfile.TemporaryDirectory(prefix="mux-picture-") as folder:
        session = Session(pathlib.Path(build).resolve(), pathlib.Path(folder))
        try:
            session.start_system()
            session.play()
            pathlib.Path(picture).write_text(picture_of(session))
            session.stop()
        finally:
            session.kill()


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except (PlayError, OSError) as error:
        sys.exit(f"terminal_picture: {error}")
