"""usage: target_test.py FOLDER PACKAGE SIMULATED_CONSOLE
Runs the board's package on the emulated machine and looks at it from outside. FOLDER is what the
script prepare has filled. The last line counts the tests."""

import contextlib
import re
import shutil
import sys
import time
import unittest
from pathlib import Path

from chips import DriverChain, EqualiserChain
from machine import Machine, dpkg
from simulated import SimulatedBoard

FOLDER, PACKAGE, SIMULATED_CONSOLE = (Path(argument).resolve() for argument in sys.argv[1:4])
MAX_PACKAGE_BYTES = 1 << 20

CRITICAL, ERROR, WARNING, INFO = 2, 3, 4, 6
GOODBYE = "Closing App...\nGoodbye and thanks for all the fish.\n"
UNKNOWN_STRAPS = "Number of devices is unknown, defaulting to 5..."
LOW_FILE = "/usr/orvane/lib/eeprom-lo"

machine = None
figures = []


def setUpModule():
    global machine
    machine = Machine(FOLDER, PACKAGE)
    unittest.addModuleCleanup(machine.stop)
    figures.append(f"boot of the machine: {machine.start_seconds:.1f} s")


def texts(records):
    """Records of the log without the places that they come from."""
    return [(severity, re.sub(r"^\S+\(\d+\) ", "", text)) for severity, text in records]


class OnTheBoard(unittest.TestCase):
    """A board as it comes: both straps 1, all chips there and without a signal, registers 0, the
    inventory empty, the log running."""

    maxDiff = 4000

    def setUp(self):
        self.plug_chips(1, 1, 5)
        machine.fill_registers(0)
        machine.control(f": >{LOW_FILE}; rm -f /root/.cli")
        machine.start_log()
        self.addCleanup(machine.stop_log)

    def plug_chips(self, ps_mio2, ps_mio3, count):
        machine.set_straps(ps_mio2, ps_mio3)
        self.drivers, self.equalisers = DriverChain(count), EqualiserChain(count)
        machine.drivers.connect(self.drivers)
        machine.equalisers.connect(self.equalisers)

    def start(self, *arguments):
        """Starts the program; what it writes before its first prompt."""
        machine.start(*arguments)
        return machine.terminal.read_until("main> ")[: -len("main> ")]

    def leave(self):
        """Ends the session, and gives the program's log."""
        machine.terminal.type("exit<return>")
        machine.terminal.read_until("exit\n" + GOODBYE)
        status, before, after = machine.ended()
        self.assertEqual((status, after), (0, before))
        self.assertEqual(machine.control("cat /tmp/errors"), "")
        return machine.take_log()

    def assertHolds(self, records, *expected):
        for record in expected:
            self.assertIn(record, texts(records))

    def assertConsoleWorks(self):
        self.assertEqual(machine.terminal.run("bitfields ls no_such_module"), "No Modules Found\n")


class Package(unittest.TestCase):
    def test_installs_and_goes_cleanly(self):
        self.assertLess(PACKAGE.stat().st_size, MAX_PACKAGE_BYTES)
        figures.append(f"package: {PACKAGE.stat().st_size} bytes")
        root = FOLDER / "installed"
        shutil.rmtree(root, ignore_errors=True)
        files = lambda: {
            str(path.relative_to(root)) for path in root.glob("usr/**/*") if path.is_file()}
        low, high = "usr/orvane/lib/eeprom-lo", "usr/orvane/lib/eeprom-hi"

        dpkg(root, "-i", PACKAGE)
        self.assertEqual(files(), {
            "usr/bin/board-console", "usr/share/man/man1/board-console.1.gz",
            "usr/share/doc/board-console/changelog.gz", "usr/share/doc/board-console/copyright",
            "usr/share/lintian/overrides/board-console", low, high})
        self.assertEqual((root / low).read_bytes(), b"")
        (root / low).write_bytes(b"the board's")
        dpkg(root, "-i", PACKAGE)
        dpkg(root, "-r", "board-console")
        self.assertEqual(files(), {low, high})
        self.assertEqual((root / low).read_bytes(), b"the board's")
        dpkg(root, "--purge", "board-console")
        self.assertFalse((root / "usr").exists())


class SameAsOnTheSimulatedBoard(OnTheBoard):
    def session(self, terminal):
        """A session that reaches every field of every module; the screen without the echo."""
        screen = [terminal.read_until("main> ")]
        modules = terminal.run("bitfields ls")
        names = re.findall(r"^(\w+)\.", modules, re.MULTILINE)
        self.assertGreater(len(names), 10)
        lines = [f"bitfields read {name}" for name in names] + [
            "bitfields write irq_handler irq_mask_0_31 0x55",
            "bitfields rxsetroute 1 2", "bitfields rxgetroute 2",
            "bitfields txsetroute 3 0", "bitfields txgetroute 0",
            "bitfields txsdisetup 1", "bitfields writeraw 0x10 -1", "bitfields readraw 0x300000",
            "sdi eqmode 5", "sdi eqrate 1", "sdi drvsignaldetect 0"]
        screen += [modules, *(terminal.run(line) for line in lines)]
        terminal.type("exit<return>")
        return screen + [terminal.read_until("fish.\n")]

    def test_accesses_screen_log_and_registers(self):
        folder = FOLDER / "simulated"
        shutil.rmtree(folder, ignore_errors=True)
        simulated = SimulatedBoard(SIMULATED_CONSOLE, folder, {
            "sdi0": "1920x1080p 50 A", "sdi1": "1920x1080i 50", "sdi2": "none",
            "sdi3": "3840x2160p 50 12G", "ref1": "1920x1080i 50", "ref2": "none"})
        for chip, status in ((0, 0x06), (1, 0x04), (3, 0x0A)):  # 3G, HD, 12G
            self.equalisers.chips[chip][EqualiserChain.STATUS] = status
        screen = self.session(simulated.terminal)
        self.assertEqual(simulated.wait(), 0)
        accesses = simulated.accesses()

        machine.start_recording(accesses)
        machine.start()
        self.assertEqual(self.session(machine.terminal), screen)
        self.assertEqual(machine.ended()[0], 0)
        self.assertSameAccesses(machine.stop_recording(), accesses)
        figures.append(f"register accesses compared: {len(accesses)}")

        self.assertEqual(*(self.by_thread(log) for log in (machine.take_log(), simulated.log())))

        # Last accesses win; nothing else was touched.
        left = {int(access.split()[1], 16): int(access.split()[2], 16) for access in accesses}
        self.assertEqual(machine.registers(), {at: value for at, value in left.items() if value})

    @staticmethod
    def by_thread(log):
        """The main thread's records in order, and those of the mixers' threads, which mix with
        them as it happens."""
        others = [record for record in log if "_ProgramCoeffsThread(" in record[1]]
        return [record for record in log if record not in others], sorted(others)

    def assertSameAccesses(self, target, simulated):
        for number, pair in enumerate(zip(target, simulated)):
            self.assertEqual(*pair, f"access {number} differs: target, simulated board")
        self.assertEqual(len(target), len(simulated))


class Registers(OnTheBoard):
    def test_lie_in_the_window(self):
        self.start()
        terminal = machine.terminal
        terminal.run("bitfields write irq_handler irq_mask_0_31 0x12345678")
        self.assertEqual(machine.register(0), 0x12345678)
        machine.set_register(0x20, 0xCAFE0001)
        self.assertIn("Value:<CAFE0001>", terminal.run("bitfields read irq_handler status_0_31"))
        self.assertEqual(terminal.run("bitfields writeraw 0x3EFFFFC 287454020"),
                         "Raw Read 0x3EFFFFC: 287454020")
        self.assertEqual(machine.register(0x3EFFFFC), 0x11223344)
        self.leave()

    def test_that_read_all_ones_are_survived(self):
        machine.fill_registers(0xFFFFFFFF)
        self.start()
        self.assertConsoleWorks()
        self.leave()

    def test_that_do_not_answer_end_the_program_by_name(self):
        self.start()
        machine.terminal.type("bitfields readraw 0x3F00004<return>")
        status, before, after = machine.ended()
        self.assertEqual((status, after), (128 + 7, before))
        self.assertIn("Bus error at register address 0x03f00004",
                      machine.control("cat /tmp/errors"))


class Straps(OnTheBoard):
    def test_say_how_long_the_chains_are(self):
        for ps_mio2, ps_mio3, count, printed in (
                (0, 0, 5, UNKNOWN_STRAPS), (0, 1, 2, ""), (1, 0, 3, ""), (1, 1, 5, "")):
            with self.subTest(PS_MIO2=ps_mio2, PS_MIO3=ps_mio3):
                self.plug_chips(ps_mio2, ps_mio3, count)
                started = time.monotonic()
                self.assertEqual(self.start(), printed)
                seconds = time.monotonic() - started
                figures.append(f"start to prompt, {count} chips: {seconds:.2f} s")

                addresses = [b"\x20\x00\x00\x00\x40\x00"] + [
                    b"\x20\x00\x00\x00\x20" + bytes([unit]) for unit in range(1, count + 1)]
                self.assertEqual(machine.drivers.transfers,
                                 [(0, 1_000_000, 8, sent) for sent in addresses])
                self.assertEqual(self.drivers.units, list(range(1, count + 1)))

                self.equalisers.chips[0][EqualiserChain.STATUS] = 0x06
                self.equalisers.chips[count - 1][EqualiserChain.STATUS] = 0x0A
                self.assertEqual(machine.equalisers.transfers, [])
                run = machine.terminal.run
                self.assertIn("Video Format: 3G\n", run("sdi eqrate 0"))
                status_read = [b"\x8f\x00" * count, b"\xff\xff" * count]
                self.assertEqual(machine.equalisers.transfers,
                                 [(1, 5_000_000, 8, sent) for sent in status_read * 2])
                self.assertIn("Video Format: 12G\n", run(f"sdi eqrate {count - 1}"))
                run(f"sdi eqrate {count}")
                self.assertHolds(self.leave(), (ERROR, "Requested EQ does not exist"))


class Inventory(OnTheBoard):
    def test_outlives_a_restart(self):
        terminal = machine.terminal
        self.start()
        for line in ("writevariant quad", "writerev C.2", "writesn 004711",
                     "writemac 3=02:11:22:33:44:55"):
            terminal.run("eeprom " + line)
        self.leave()
        stored = machine.file(LOW_FILE)
        self.assertEqual(
            stored[:80], b"\x02\x00\xfa\xca" + bytes(8) + b"004711".ljust(16, b"\0")
            + b"C.2".ljust(32, b"\0") + b"quad".ljust(16, b"\0") + b"\x02\x00\xfe\xca")
        self.assertEqual(stored[98:104], b"\x02\x11\x22\x33\x44\x55")

        self.start()
        for line in ("readvariant", "readrev", "readsn"):
            terminal.run("eeprom " + line)
        self.assertEqual(terminal.run("eeprom readmac 3"), "MAC Address 3: 02:11:22:33:44:55\n")
        log = self.leave()
        self.assertHolds(log, (INFO, "VARIANT: quad"), (INFO, "REVISION: C.2"),
                         (INFO, "SN: 004711"))
        self.assertFalse([text for severity, text in log if severity == CRITICAL])
        self.assertEqual(machine.file(LOW_FILE), stored)
        self.assertEqual(machine.file("/usr/orvane/lib/eeprom-hi"), b"")


class Session(OnTheBoard):
    def test_editing_completion_and_history(self):
        terminal = machine.terminal
        self.start()
        terminal.type("olour<home>c<right><right><right><right><delete>"
                      "<left><end><backspace>r<return>")
        terminal.read_until("\nColors ON\nmain> ")
        terminal.type("<tab>")
        terminal.read_until("bitfields\teeprom\texit\thelp\tnocolor\tremovecmds\tsdi\nmain> ")
        terminal.type("bitf<tab>ls irq<return>")
        self.assertIn("irq_handler", terminal.read_until("main> "))
        terminal.type("<up><up><down><up><backspace><return>")
        terminal.read_until("wrong command: colo\nmain> ")
        self.leave()
        history = "color\nbitfields ls irq\ncolo\n"
        self.assertEqual(machine.control("cat /root/.cli"), history + "exit\n")

        self.start()
        terminal.type("<up><up>r<return>")
        terminal.read_until("Colors ON\nmain> ")
        terminal.type("<ctrl-d>")
        terminal.read_until(GOODBYE)
        status, before, after = machine.ended()
        self.assertEqual((status, after), (0, before))

    def test_terminal_is_restored_by_every_signal(self):
        for signal, number in (("INT", 2), ("TERM", 15), ("HUP", 1), ("QUIT", 3), ("ABRT", 6),
                               ("SEGV", 11), ("BUS", 7)):
            with self.subTest(signal=signal):
                self.start()
                during = machine.modes()
                if signal == "INT":
                    machine.terminal.type("help<ctrl-c>")
                else:
                    machine.control(f"killall -{signal} board-console")
                status, before, after = machine.ended()
                self.assertEqual((status, after), (128 + number, before))
                self.assertNotEqual(during, before)
                machine.control("[ ! -e /root/.cli ]")


class Faults(OnTheBoard):
    @contextlib.contextmanager
    def without(self, path):
        machine.control(f"mv {path} {path}.away")
        try:
            yield
        finally:
            machine.control(f"mv {path}.away {path}")

    def assertEndsWithoutRegisters(self, *command):
        machine.start(*command)
        status, before, after = machine.ended()
        self.assertEqual((status, after), (128 + 6, before))
        self.assertNotIn("main>", machine.terminal.read_arrived())
        self.assertIn("Failed to initialize FpgaCsrACcess.", machine.control("cat /tmp/errors"))
        self.assertHolds(
            machine.take_log(),
            (ERROR, "Failed to open file /dev/mem for mmaping, FPGA CSR bridge is not usable"),
            (ERROR, "FPGA CSR bridge mmap failed"),
            (CRITICAL, "Failed to initialize FpgaCsrAccess. Throwing exception."))

    def test_no_register_window(self):
        with self.without("/dev/mem"):
            self.assertEndsWithoutRegisters()
        # Who isn't root has no permission.
        machine.control("chmod 777 /tmp; rm -f /tmp/errors")
        self.assertEndsWithoutRegisters(
            "start-stop-daemon -S -c nobody -x /usr/bin/board-console")

    def test_no_spi_node(self):
        with self.without("/dev/spidev1.0"), self.without("/dev/spidev0.0"):
            self.assertEqual(self.start(), "")
            self.assertEqual(machine.terminal.run("sdi eqrate 0"), "Video Format: Unknown\n")
            self.assertConsoleWorks()
            self.assertHolds(
                self.leave(), (ERROR, "Unable to open /dev/spidev1.0"),
                (ERROR, "Unable to open /dev/spidev0.0"),
                (ERROR, "Unable to setup SPI controller for 16-bit transmit"),
                (ERROR, "Unable to write to device"),
                (ERROR, "Unable to setup SPI controller for transmit"))

    def test_one_spi_node_is_missing(self):
        with self.without("/dev/spidev1.0"):
            self.start()
            self.assertEqual(self.drivers.units, [1, 2, 3, 4, 5])
            self.assertEqual(machine.terminal.run("sdi eqrate 0"), "Video Format: Unknown\n")
            self.assertConsoleWorks()
            log = texts(self.leave())
            self.assertIn((ERROR, "Unable to open /dev/spidev1.0"), log)
            self.assertNotIn((ERROR, "Unable to open /dev/spidev0.0"), log)
        self.plug_chips(1, 1, 5)
        self.equalisers.chips[0][EqualiserChain.STATUS] = 0x06
        with self.without("/dev/spidev0.0"):
            self.start()
            self.assertEqual(self.drivers.units, DriverChain(5).units)
            self.assertIn("Video Format: 3G\n", machine.terminal.run("sdi eqrate 0"))
            self.assertConsoleWorks()
            log = texts(self.leave())
            self.assertIn((ERROR, "Unable to open /dev/spidev0.0"), log)
            self.assertNotIn((ERROR, "Unable to open /dev/spidev1.0"), log)

    def test_spi_transfers_fail(self):
        machine.drivers.connect(None)
        machine.equalisers.connect(None)
        self.assertEqual(self.start(), "")
        # What isn't received is 0, which is the status of a chip that sees MADI.
        self.assertEqual(machine.terminal.run("sdi eqrate 0"), "Video Format: MADI\n")
        self.assertConsoleWorks()
        self.assertHolds(
            self.leave(),
            (ERROR, "SPI_IOC_MESSAGE ioctl failed with errno 5 Input/output error 6"),
            (ERROR, "SPI_IOC_MESSAGE ioctl failed"), (ERROR, "Unable to write to device"))

    def test_no_gpio_chip(self):
        with self.without("/dev/gpiochip1"):
            self.assertEqual(self.start(), UNKNOWN_STRAPS)
            self.assertEqual(self.drivers.units, [1, 2, 3, 4, 5])
            self.assertHolds(self.leave(), (WARNING, "Unable to read the strap pins:"
                                            " gpiod_chip_open_by_name: No such file or directory"))

    def test_no_log(self):
        machine.stop_log()
        self.addCleanup(machine.stop_log)
        try:
            self.start()
            machine.terminal.run("eeprom readsn")
            self.assertConsoleWorks()
        finally:
            machine.start_log()
        # The log is there again: so are the records.
        machine.terminal.run("eeprom readrev")
        log = self.leave()
        self.assertHolds(log, (INFO, "REVISION: --"))
        self.assertNotIn((INFO, "SN: 000001"), texts(log))


if __name__ == "__main__":
    started = time.monotonic()
    runner = unittest.TextTestRunner(stream=sys.stdout, verbosity=2)
    result = unittest.main(argv=sys.argv[:1], exit=False, testRunner=runner).result
    failed = len({test.id().split(" ")[0] for test, _ in result.failures + result.errors})
    for figure in figures:
        print(figure)
    print(f"the whole test: {time.monotonic() - started:.1f} s")
    print(f"{max(result.testsRun - failed, 0)} passed, {failed} failed")
    sys.exit(failed != 0 or result.testsRun == 0)
