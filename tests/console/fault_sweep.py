"""usage: fault_sweep.py CONSOLE FAULT
Runs sessions of the console on the simulated board, in each of which one system call that reaches
their files fails with FAULT, the name of an errno, or is where the process is killed, for FAULT KILL.
Every such call has its turn."""

import collections
import errno
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CONSOLE, FAULT = Path(sys.argv[1]).resolve(), sys.argv[2]
KILLED = FAULT == "KILL"

BOARD, LOG = ".board-sim", ".board-sim/log.txt"
LIB = f"{BOARD}/files/usr/orvane/lib"
LOW, HISTORY = f"{LIB}/eeprom-lo", ".cli"
DONE = (0, "")  # exit status and standard error

Call = collections.namedtuple("Call", "name number text")  # the number-th call of this name
Stored = collections.namedtuple("Stored", "inventory macs history")


def run(folder, script, *tracer):
    return subprocess.run([*tracer, CONSOLE], cwd=folder, input=script, capture_output=True,
                          env={**os.environ, "BOARD_SIM_DIR": BOARD}, text=True, timeout=60)


def stored(folder):
    low = (folder / LOW).read_bytes()
    return Stored(low[:76], low[76:], (folder / HISTORY).read_text())


def complaints(folder):
    return len(re.findall(r"(?m)^[0-4] ", (folder / LOG).read_text()))


def names(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*")}


class Sweep(unittest.TestCase):
    def setUp(self):
        self.work = Path(tempfile.mkdtemp(prefix="fault-sweep-"))
        self.addCleanup(shutil.rmtree, self.work)
        self.before = self.work / "before"  # the folder as every session finds it
        self.before.mkdir()

    def session(self, name, script, watched, *injection):
        """Runs a session in a fresh folder: the folder, how it ended, and the calls that reach the
        paths of `watched`. They are the main thread's: no other has files."""
        folder, trace = self.work / name, self.work / "trace"
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(self.before, folder, symlinks=True)
        paths = [option for path in watched for option in ("-P", path, "-P", folder / path)]
        result = run(folder, script, "strace", "-y", "--quiet=all", "-o", trace, *paths, *injection)
        calls, count = [], collections.Counter()
        for line in trace.read_text(errors="replace").splitlines():
            if match := re.match(r"(\w+)\(", line):
                count[match[1]] += 1
                calls.append(Call(match[1], count[match[1]], line))
        return folder, result, calls

    def sweep(self, script, watched, check, spared):
        """Runs the session undisturbed, and then once for each of its calls that isn't spared; what
        is left then is judged by check(undisturbed folder, folder, result)."""
        undisturbed, result, calls = self.session("undisturbed", script, watched)
        self.assertEqual((result.returncode, result.stderr), DONE)
        how = "signal=KILL" if KILLED else f"error={FAULT}"
        calls = [call for call in calls if not re.match(spared, call.text)]
        self.assertGreater(len(calls), 20)
        for call in calls:
            with self.subTest(fault=FAULT, **call._asdict()):
                folder, result, done = self.session(
                    "disturbed", script, watched, "-e",
                    f"inject={call.name}:{how}:when={call.number}")
                self.assertIn(call[:2], [other[:2] for other in done], "the call didn't come")
                check(undisturbed, folder, result)
        print(f"{self.id()}: {FAULT} at each of {len(calls)} calls")


class Storing(Sweep):
    """A session that changes the inventory's two blocks and the history leaves each old or new."""

    def setUp(self):
        super().setUp()
        run(self.before, "eeprom\nwriterev A1\nwritesn old-old-old-old\nwritemac 1=0:1:2:3:4:5\nexit\n")
        (self.before / LOG).write_text("")

    def test_plain_files(self):
        self.sweep_stores([".", HISTORY, HISTORY + ".tmp"])

    def test_history_behind_a_link(self):
        (self.before / "kept").mkdir()
        (self.before / HISTORY).rename(self.before / "kept/history")
        (self.before / HISTORY).symlink_to("kept/history")
        self.sweep_stores([HISTORY, "kept", "kept/history", "kept/history.tmp"])

    def sweep_stores(self, watched):
        # A position in a plain file is set without its device: that can't fail.
        self.sweep("eeprom\nwritesn new-new-new-new\nwritemac 1=6:7:8:9:a:b\nexit\n", [*watched, LOW],
                   self.check, "$" if KILLED else "lseek")

    def check(self, undisturbed, folder, result):
        now, is_new = stored(folder), []
        for block, old, new in zip(now, stored(self.before), stored(undisturbed)):
            self.assertNotEqual(old, new)
            self.assertIn(block, (old, new))
            is_new.append(block == new)
        strays = names(folder) - names(self.before)
        if KILLED:
            self.assertEqual(is_new, sorted(is_new, reverse=True), "out of order")
            self.assertLessEqual(len(strays), 1, strays)
        else:
            self.assertEqual((result.returncode, result.stderr), DONE)
            self.assertGreaterEqual(sum(is_new), 2, "more is lost than one store")
            if not all(is_new):
                self.assertGreater(complaints(folder), complaints(undisturbed))
            self.assertEqual(strays, set())

        script = "eeprom\nreadsn\nexit\n"
        result = run(folder, script)
        self.assertEqual((result.returncode, result.stderr), DONE)
        self.assertIn(f") SN: {'-'.join(['new' if is_new[0] else 'old'] * 4)}\n", (folder / LOG).read_text())
        self.assertEqual(stored(folder), now._replace(history=now.history + script))
        self.assertEqual(names(folder), names(self.before))
        self.assertEqual((folder / HISTORY).is_symlink(), (self.before / HISTORY).is_symlink())


@unittest.skipIf(KILLED, "the board's settings are written where they stay")
class FirstStart(Sweep):
    """A board that can't be created says why, and the next start creates it whole."""

    def test_in_an_empty_folder(self):
        watched = [BOARD, LOG, f"{BOARD}/board.conf", f"{BOARD}/signals.conf",
                   *map(str, Path(LOW).parents[:4]), LOW]
        # Records of the log may get lost; folders and signals are looked at now and then.
        self.sweep("exit\n", watched, self.check, rf"lseek|write\(\d+<[^>]*{LOG}>|\w*stat\w*\(")

    def check(self, undisturbed, folder, result):
        if result.returncode == 1:
            self.assertEqual(result.stdout, "")
            self.assertRegex(result.stderr, rf"\AThe simulated board's folder can't be used: "
                             rf"{BOARD}[^ ]*: {os.strerror(getattr(errno, FAULT))}\n\Z")
        else:
            self.assertEqual((result.returncode, result.stderr), DONE)
            self.assertEqual(names(folder), names(undisturbed))
        result = run(folder, "exit\n")
        self.assertEqual((result.returncode, result.stderr), DONE)
        for name in ("board.conf", "signals.conf"):
            self.assertEqual((folder / BOARD / name).read_bytes(),
                             (undisturbed / BOARD / name).read_bytes())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
