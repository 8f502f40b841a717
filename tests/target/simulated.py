"""The console on the simulated board, at a pseudo-terminal of this machine."""

import os
import pty
import re
import select
import subprocess

from terminal import Terminal


class PtyLine:
    def __init__(self, descriptor):
        self.descriptor = descriptor

    def sendall(self, data):
        while data:
            data = data[os.write(self.descriptor, data) :]

    def recv(self, size):
        if not select.select([self.descriptor], [], [], 1)[0]:
            raise TimeoutError
        return os.read(self.descriptor, size)


class SimulatedBoard:
    """Runs `program` in the new folder `folder`, with both straps 1 and these `signals` on its
    inputs: name of the input to standard."""

    def __init__(self, program, folder, signals):
        self.folder = folder
        folder.mkdir()
        (folder / "board.conf").write_text("trace = yes\n")
        (folder / "signals.conf").write_text(
            "".join(f"{name} = {standard}\n" for name, standard in signals.items()))
        master, slave = pty.openpty()
        self.terminal = Terminal(PtyLine(master))
        self._process = subprocess.Popen(
            [program], cwd=folder, stdin=slave, stdout=slave,
            env={**os.environ, "BOARD_SIM_DIR": str(folder), "TERM": "vt100"})
        os.close(slave)

    def wait(self):
        return self._process.wait(60)

    def accesses(self):
        """Register accesses in order, each as "R 00000000 00000000" (W: a store)."""
        return (self.folder / "trace.txt").read_text().splitlines()

    def log(self):
        """Records of the system log: severity and text. The address of the mapping is the
        board's."""
        records = []
        for line in (self.folder / "log.txt").read_text().splitlines():
            if line:  # texts that end in a line feed
                severity, text = line.split(" ", 1)
                text = re.sub("at addr 0x[0-9a-f]+$", "at addr 0xa8000000", text)
                records.append((int(severity), text))
        return records
