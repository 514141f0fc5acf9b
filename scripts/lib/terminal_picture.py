#!/usr/bin/env python3
"""Draws docs/pictures/terminal.svg: python3 scripts/lib/terminal_picture.py BUILD_FOLDER PICTURE.

Runs the gateway simulator, the Mux and muxctl on free ports of this host and draws what the two terminals show. Ports
appear in the picture as the usual ones; everything else is as the programs wrote it.
"""
import codecs
import fcntl
import html
import itertools
import json
import os
import pathlib
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time

from programs import DEADLINE, PlayError, Program, free_port, wait_until

CARD = "04A1B2C3"
USUAL_GATEWAY_PORT, USUAL_PORT = 2101, 5555
SIMULATOR_SIZE = (94, 19)
MUXCTL_SIZE = (72, 19)

# Pixels: a character, and the space around a terminal.
CHARACTER_WIDTH, LINE_HEIGHT, MARGIN, TITLE_HEIGHT = 7.2, 16, 10, 22
COLOURS = {"31": "#ff7b72", "32": "#56d364", "33": "#e3b341", "36": "#76e3ea"}
BACKGROUND, FOREGROUND, FRAME = "#161b22", "#e6edf3", "#30363d"

CONTROL = re.compile(r"\x1b\[([0-9;?]*)([A-Za-z])|\x1b[()][A-Z0-9]|\x1b[=>78M]|[\x00-\x1f]")


class TerminalScreen:
    """The cells of a terminal, as far as the programs use one: other control sequences are an error."""

    def __init__(self, size):
        self.columns, self.rows = size
        self.style = ""
        self.top, self.bottom = 0, self.rows - 1
        self.cells = [[(" ", "")] * self.columns for _ in range(self.rows)]
        self.column = self.row = 0

    def feed(self, text):
        """Returns what is an incomplete control sequence at the end."""
        while text:
            control = CONTROL.match(text)
            if control:
                self.obey(control)
                text = text[control.end():]
            elif text[0] == "\x1b":
                if len(text) > 16:
                    raise PlayError(f"unknown control sequence {text[:16]!r}")
                break
            else:
                self.put(text[0])
                text = text[1:]
        return text

    def put(self, character):
        if self.column < self.columns:
            self.cells[self.row][self.column] = (character, self.style)
        self.column += 1

    def obey(self, control):
        numbers, letter = control[1], control[2]
        if letter is None:
            self.obey_character(control[0])
        elif letter == "r":
            self.top, self.bottom = self.numbers_of(numbers, (1, self.rows))
            self.row = self.column = 0
        elif letter == "m":
            self.style = "" if numbers in ("", "0") else numbers
        elif letter == "H":
            self.row, self.column = self.numbers_of(numbers, (1, 1))
        elif letter in "CD":
            self.column += int(numbers or 1) * (1 if letter == "C" else -1)
        elif letter in "AB":
            self.row += int(numbers or 1) * (1 if letter == "B" else -1)
        elif letter == "K":
            self.erase_line_from(self.column if numbers in ("", "0") else None)
        elif letter == "J":
            self.erase_below()
        elif letter not in "hl":
            raise PlayError(f"unknown control sequence {control[0]!r}")

    def obey_character(self, character):
        if character == "\r":
            self.column = 0
        elif character == "\n":
            self.row_down()
        elif character == "\x1bM":
            self.row_up()
        elif character == "\b":
            self.column -= 1

    @staticmethod
    def numbers_of(text, defaults):
        """Two numbers of a control sequence, which count from 1."""
        return [int(number or default) - 1 for number, default in zip((text + ";").split(";"), defaults)]

    # Only programs that scroll a part of the screen may reach its end: nothing must be lost from the picture.
    def row_down(self):
        if self.row != self.bottom:
            self.row += 1
        elif (self.top, self.bottom) == (0, self.rows - 1):
            raise PlayError("the terminal has too few rows")
        else:
            self.cells.insert(self.bottom + 1, [(" ", "")] * self.columns)
            del self.cells[self.top]

    def row_up(self):
        if self.row != self.top:
            self.row -= 1
        else:
            del self.cells[self.bottom]
            self.cells.insert(self.top, [(" ", "")] * self.columns)

    def erase_line_from(self, column):
        if column is None:
            raise PlayError("unknown way to erase a line")
        self.cells[self.row][column:] = [(" ", "")] * (self.columns - min(column, self.columns))

    def erase_below(self):
        self.erase_line_from(self.column)
        for row in range(self.row + 1, self.rows):
            self.cells[row] = [(" ", "")] * self.columns

    def text(self):
        return "\n".join("".join(character for character, _ in row).rstrip() for row in self.cells)


class TerminalProgram:
    """A program with a terminal of its own, which writes to a screen."""

    def __init__(self, screen, *command):
        self.screen, self.rest = screen, ""
        self.decoder = codecs.getincrementaldecoder("utf-8")()
        self.terminal, inner = os.openpty()
        fcntl.ioctl(inner, termios.TIOCSWINSZ, struct.pack("HHHH", screen.rows, screen.columns, 0, 0))
        environment = {"TERM": "vt100", "LC_ALL": "C.UTF-8", "PATH": "/usr/bin:/bin"}
        self.process = subprocess.Popen(command, stdin=inner, stdout=inner, stderr=inner, env=environment,
                                        start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(inner)

    def type(self, data):
        os.write(self.terminal, data)

    def read(self, seconds):
        """Takes what comes within this time. False when the program has closed its terminal."""
        if not select.select([self.terminal], [], [], seconds)[0]:
            return True
        try:
            received = os.read(self.terminal, 65536)
        except OSError:
            return False
        self.rest = self.screen.feed(self.rest + self.decoder.decode(received))
        return True

    def wait_for(self, text):
        def there():
            self.read(0.05)
            return text in self.screen.text()

        wait_until(there, f'"{text}" on the terminal')

    def wait_for_end(self):
        end = time.monotonic() + DEADLINE
        while self.read(0.05):
            if time.monotonic() > end:
                raise PlayError(f"{self.process.args} does not end")
        return self.process.wait(DEADLINE)

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.terminal)


class Session:
    """A gateway with its simulator, the Mux, and what a person types at both terminals."""

    def __init__(self, build, folder):
        self.build, self.folder = build, folder
        self.gateway_port, self.port = free_port(), free_port()
        self.simulator_screen, self.muxctl_screen = TerminalScreen(SIMULATOR_SIZE), TerminalScreen(MUXCTL_SIZE)
        self.started = []

    def start(self, program):
        self.started.append(program)
        return program

    def start_system(self):
        site = self.folder / "site.json"
        site.write_text(json.dumps({"Enabled": True, "Gateways": [
            {"ID": 1, "Description": "Hall", "IpAddress": "127.0.0.1", "Port": self.gateway_port,
             "Devices": [{"Name": "Front door", "ID": 5}, {"Name": "Back door", "ID": 6}]}]}))
        self.simulator = self.start(TerminalProgram(self.simulator_screen, str(self.build / "gateway-simulator"),
                                                    "--gateways", str(site)))
        self.simulator.wait_for("not connected")
        self.mux = self.start(Program(str(self.build / "dw-hal-mux-brenk"), "--port", f"--port={self.port}",
                                      "--configFile", str(site), "--logFile", str(self.folder / "mux.log"), "--debug"))
        # The Mux asks for the sequence counter twice, and a request between the questions would share their numbers.
        self.mux.wait_for("Received new sequence number.", 2)

    def start_muxctl(self, *arguments):
        self.print_at_muxctl("$ muxctl " + " ".join(arguments) + "\r\n")
        command = [str(self.build / "muxctl"), "--port", str(self.port), *arguments]
        return self.start(TerminalProgram(self.muxctl_screen, *command))

    def muxctl(self, *arguments, status=0):
        ended = self.start_muxctl(*arguments).wait_for_end()
        if ended != status:
            raise PlayError(f"muxctl {' '.join(arguments)} ended with status {ended}:\n{self.muxctl_screen.text()}")

    def with_usual_ports(self, text):
        return text.replace(f"127.0.0.1:{self.gateway_port}", f"127.0.0.1:{USUAL_GATEWAY_PORT}").replace(
            f"127.0.0.1:{self.port}", f"127.0.0.1:{USUAL_PORT}")

    def print_at_muxctl(self, text):
        self.muxctl_screen.feed(text)

    def play(self):
        self.muxctl("open", "--gateway", "1", "--lock", "5")
        self.muxctl("status", "--gateway", "1", "--lock", "6")
        self.muxctl("open", "--gateway", "9", "--lock", "5", status=1)
        self.muxctl("whitelist", "add", "--gateway", "1", "--lock", "5", "--card", CARD, "--uid")
        watch = self.start_muxctl("watch", "--count", "1")
        watch.wait_for("watching")
        # A client that has just connected is known to the Mux once its log has the connection.
        self.mux.wait_for("Accepted connection with FD", 5)
        self.simulator.type(f"card 5 {CARD}\r".encode())
        watch.wait_for_end()
        self.print_at_muxctl("$ ")
        self.simulator.wait_for("event pending")
        self.simulator.wait_for(f"data {CARD}")
        # The command has left the input line.
        self.simulator.wait_for(f"> card 5 {CARD}\n\n>")

    def stop(self):
        self.mux.stop(signal.SIGQUIT, 0)

    def kill(self):
        for program in self.started:
            program.kill()


def colour_of(style):
    return next((COLOURS[part] for part in style.split(";") if part in COLOURS), FOREGROUND)


def spans_of(row):
    """The texts of a row with their first column and style, blanks without a style left out."""
    column = 0
    for style, group in itertools.groupby(row, key=lambda cell: cell[1]):
        text = "".join(character for character, _ in group)
        if style or text.strip():
            yield column, text, style
        column += len(text)


def svg_of_span(left, baseline, column, text, style):
    stripped = text if "7" in style.split(";") else text.rstrip()
    x, width = left + column * CHARACTER_WIDTH, len(stripped) * CHARACTER_WIDTH
    inverse = "7" in style.split(";")
    weight = ' font-weight="bold"' if "1" in style.split(";") else ""
    box = f'<rect x="{x:.1f}" y="{baseline - 12}" width="{width:.1f}" height="{LINE_HEIGHT}" fill="{FOREGROUND}"/>\n'
    return (box if inverse else "") + (
        f'<text x="{x:.1f}" y="{baseline}" textLength="{width:.1f}" fill="{BACKGROUND if inverse else colour_of(style)}"'
        f'{weight}>{html.escape(stripped)}</text>\n')


def svg_of_terminal(screen, title, left, shown):
    width = screen.columns * CHARACTER_WIDTH + 2 * MARGIN
    height = TITLE_HEIGHT + screen.rows * LINE_HEIGHT + 2 * MARGIN
    parts = [f'<rect x="{left:.1f}" width="{width:.1f}" height="{height}" rx="6" fill="{BACKGROUND}" '
             f'stroke="{FRAME}"/>\n',
             f'<text x="{left + width / 2:.1f}" y="16" text-anchor="middle" fill="#8b949e">{title}</text>\n']
    for index, row in enumerate(screen.cells):
        baseline = TITLE_HEIGHT + MARGIN + index * LINE_HEIGHT + 12
        parts += [svg_of_span(left + MARGIN, baseline, column, shown(text), style)
                  for column, text, style in spans_of(row)]
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
