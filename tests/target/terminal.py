"""A person at a terminal."""

import re
import select
import time

PATIENCE = 60  # seconds; only ends a test that has failed

KEYS = {
    "<up>": "\x1b[A", "<down>": "\x1b[B", "<right>": "\x1b[C", "<left>": "\x1b[D",
    "<end>": "\x1b[F", "<home>": "\x1b[H", "<delete>": "\x1b[3~", "<backspace>": "\x7f",
    "<tab>": "\t", "<return>": "\r", "<ctrl-c>": "\x03", "<ctrl-d>": "\x04",
}


class Terminal:
    """A terminal's far end: keys in, screen text out, with line feeds as line ends and without
    colours. `line` is a socket, or has the two operations of one that are used here."""

    def __init__(self, line):
        self.line = line
        self.pending = ""  # written and not yet taken

    def type(self, keys):
        for name, code in KEYS.items():
            keys = keys.replace(name, code)
        self.line.sendall(keys.encode())

    def read_until(self, text):
        """All that is written up to `text` and with it."""
        end = time.monotonic() + PATIENCE
        while text not in self.pending:
            if time.monotonic() > end:
                raise AssertionError(f"no {text!r} on the terminal, but {self.pending[-2000:]!r}")
            try:
                arrived = self.line.recv(65536)
            except TimeoutError:
                continue
            if not arrived:
                raise AssertionError(f"the terminal closed behind {self.pending[-2000:]!r}")
            self.pending += arrived.decode(errors="replace").replace("\r", "")
            self.pending = re.sub("\x1b\\[[0-9;]*m", "", self.pending)
        taken, self.pending = self.pending.split(text, 1)
        return taken + text

    def read_arrived(self):
        """All that has been written and not taken. The line must be a socket."""
        while select.select([self.line], [], [], 0)[0] and (arrived := self.line.recv(65536)):
            self.pending += arrived.decode(errors="replace").replace("\r", "")
        taken, self.pending = self.pending, ""
        return taken

    def run(self, line, prompt="main> "):
        """Types a line at a prompt; gives what is written before the next prompt."""
        self.type(line + "<return>")
        self.read_until(line + "\n")
        return self.read_until(prompt)[: -len(prompt)]
