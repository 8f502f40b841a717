"""The emulated board: Debian's arm64 kernel, and a file system that holds busybox, the product's
package as dpkg installs it, and the libraries of the packages that it depends on. The test has the
register window, the strap pins and the mailboxes of the SPI controllers mapped, as board.dtsi lays
them out."""

import mmap
import os
import re
import shutil
import socket
import subprocess
import time
from pathlib import Path

from chips import Mailbox
from terminal import Terminal

HERE = Path(__file__).resolve().parent

MEMORY_BYTES = 1727 << 20
PINS_AND_MAILBOXES = (0x67E00000, 0x200000)  # offset in the machine's memory, bytes
WINDOW = (0x68000000, 0x3F00000)

# Offsets in the first.
STRAPS = 0x1000
ACCESS_LOG = 0x2000
DRIVER_MAILBOX = 0x10000
EQUALISER_MAILBOX = 0x20000

SEVERITIES = ["emerg", "alert", "crit", "err", "warn", "notice", "info", "debug"]


def dpkg(root, *arguments):
    """dpkg on the file system below `root`. The package's scripts run on this machine."""
    for folder in ("info", "updates"):
        (root / "var/lib/dpkg" / folder).mkdir(parents=True, exist_ok=True)
    (root / "var/lib/dpkg/status").touch()
    # Who isn't root is it in a name space of its own.
    as_root = [] if os.geteuid() == 0 else ["unshare", "--map-root-user"]
    forced = ("architecture", "depends", "script-chrootless")
    # dpkg wants programs that only root's path names.
    environment = {**os.environ, "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"}
    done = subprocess.run(
        [*as_root, "dpkg", f"--root={root}", "--log=/dev/null",
         *(f"--force-{what}" for what in forced), *arguments],
        capture_output=True, text=True, env=environment)
    if done.returncode != 0:
        raise RuntimeError(f"dpkg {arguments[0]} failed:\n{done.stdout}{done.stderr}")


def build_image(folder, package):
    """The machine's file system: folder/root, packed as folder/initrd."""
    root = folder / "root"
    libraries = root / "lib/aarch64-linux-gnu"
    shutil.rmtree(root, ignore_errors=True)
    for name in ("bin", "dev", "etc", "proc", "root", "sys", "tmp", "usr/bin", "var/log"):
        (root / name).mkdir(parents=True)
    libraries.mkdir(parents=True)
    dpkg(root, "-i", package)
    shutil.copy(folder / "debian/bin/busybox", root / "bin")
    (root / "bin/sh").symlink_to("busybox")
    (root / "etc/passwd").write_text("nobody:x:65534:65534::/:/bin/sh\n")
    shutil.copy(folder / "spi_mailbox.ko", root)
    shutil.copy(HERE / "init", root)
    shutil.copy(HERE / "operator", root / "bin")
    depends = subprocess.check_output(["dpkg-deb", "-f", package, "Depends"], text=True)
    for name in re.findall(r"(?:^|, )([a-z0-9.+-]+)", depends):
        files = subprocess.check_output(["dpkg", "-L", f"{name}:arm64"], text=True).split()
        for file in files:
            if re.search(r"/aarch64-linux-gnu/[^/]*\.so[.0-9]*$", file):
                shutil.copy(file, libraries)
    (root / "lib/ld-linux-aarch64.so.1").symlink_to("aarch64-linux-gnu/ld-linux-aarch64.so.1")
    subprocess.run(f"find . | cpio -o -H newc -R 0:0 --quiet >'{folder}/initrd'", shell=True,
                   check=True, cwd=root)


class Machine:
    """The running machine. `folder` is what the script prepare has filled."""

    def __init__(self, folder, package):
        self.folder = folder
        build_image(folder, package)
        self._memory = os.memfd_create("machine")
        os.ftruncate(self._memory, MEMORY_BYTES)
        self.window, self._board = (
            mmap.mmap(self._memory, size, offset=offset)
            for offset, size in (WINDOW, PINS_AND_MAILBOXES))
        self._registers = memoryview(self.window).cast("I")  # each access is one of 32 bits
        self.drivers = Mailbox(self._board, DRIVER_MAILBOX)
        self.equalisers = Mailbox(self._board, EQUALISER_MAILBOX)
        self._recordings = 0
        start = time.monotonic()
        self._start()
        self.start_seconds = time.monotonic() - start

    def _start(self):
        lines = [socket.socketpair() for _ in range(2)]
        memory = f"/proc/self/fd/{self._memory}"
        log = f"log={self.folder}/accesses.txt,replay={self.folder}/replay.txt"
        command = [
            "setpriv", "--pdeathsig", "KILL", "qemu-system-aarch64",
            "-M", "virt,gic-version=3,memory-backend=memory", "-m", f"{MEMORY_BYTES >> 20}M",
            "-cpu", "cortex-a53", "-smp", "2",
            "-object", f"memory-backend-file,id=memory,size={MEMORY_BYTES},mem-path={memory},"
            "share=on",
            "-dtb", f"{self.folder}/board.dtb", "-kernel", f"{self.folder}/debian/vmlinuz",
            "-initrd", f"{self.folder}/initrd",
            "-append", "console=ttyAMA0 quiet panic=-1 rdinit=/init", "-no-reboot",
            "-display", "none", "-monitor", "none", "-net", "none",
            "-serial", f"file:{self.folder}/kernel.log",
            "-plugin", f"{self.folder}/access_log.so,memory={memory},{log}"]
        for number, (_, end) in enumerate(lines):
            command += ["-chardev", f"socket,id=line{number},fd={end.fileno()}",
                        "-device", f"pci-serial,chardev=line{number}"]
        self._qemu = subprocess.Popen(
            command, stdin=subprocess.DEVNULL,
            pass_fds=[self._memory, *(end.fileno() for _, end in lines)])
        for near, end in lines:
            near.settimeout(1)
            end.close()
        self.terminal, self._control = (Terminal(near) for near, _ in lines)
        try:
            self._control.read_until("\x010\n")
        except AssertionError:
            self.stop()
            raise

    def stop(self):
        self._qemu.kill()
        self._qemu.wait()
        self.drivers.close()
        self.equalisers.close()

    def control(self, command):
        """Runs a shell command in the machine and gives its output."""
        self._control.type(command + "\n")
        output = self._control.read_until("\x01")[:-1]
        status = self._control.read_until("\n").strip()
        if status != "0":
            raise AssertionError(f"{command}: status {status}, {output}")
        return output

    # The hardware

    def register(self, offset):
        return self._registers[offset // 4]

    def set_register(self, offset, value):
        self._registers[offset // 4] = value

    def fill_registers(self, value):
        self.window[:] = value.to_bytes(4, "little") * (len(self.window) // 4)

    def registers(self):
        """All registers that aren't 0: offset to value."""
        empty = bytes(4096)
        return {
            offset: self.register(offset)
            for page in range(0, len(self.window), 4096)
            if self.window[page : page + 4096] != empty
            for offset in range(page, page + 4096, 4) if self.register(offset)}

    def set_straps(self, ps_mio2, ps_mio3):
        self._board[STRAPS] = ps_mio2 << 2 | ps_mio3 << 3

    def start_recording(self, accesses):
        """Records the register accesses from here on. The registers take the values that the loads
        among `accesses` gave, in order for each address."""
        self.fill_registers(0)
        for access in reversed(accesses):
            kind, address, value = access.split()
            if kind == "R":
                self.set_register(int(address, 16), int(value, 16))
        (self.folder / "accesses.txt").unlink(missing_ok=True)
        (self.folder / "replay.txt").write_text("\n".join(accesses))
        self._recordings += 1
        self._board[ACCESS_LOG] = self._recordings

    def stop_recording(self):
        """The accesses since start_recording, each as "R 00000000 00000000" (W: a store)."""
        self._board[ACCESS_LOG] = 0
        return (self.folder / "accesses.txt").read_text().splitlines()

    # The product

    def start(self, command="board-console", folder="/root"):
        """Starts it on the terminal."""
        self.control("killall -q -9 board-console; rm -f /tmp/ended; :")
        self.terminal.read_arrived()
        # Not with "&": a shell has what it starts so ignore some signals.
        operator = f"exec setsid -c operator {folder} {command} </dev/ttyS0 >/dev/ttyS0 2>&1"
        self.control("stty -F /dev/ttyS0 sane;"
                     f" start-stop-daemon -S -b -n operator -x /bin/sh -- -c '{operator}'")

    def ended(self):
        """Waits for its end: exit status, and the terminal's modes before and after."""
        # When the operator goes the kernel hangs the terminal up, so the next must not have it yet.
        self.control("n=0; while ! [ -e /tmp/ended ] || pidof operator >/dev/null; do"
                     " usleep 50000; n=$((n + 1)); [ $n != 400 ] || break; done; [ $n != 400 ]")
        ended = self.control("cat /tmp/ended")
        match = re.fullmatch(r"(\d+) (\S+) (\S+)\n", ended)
        if not match:
            raise AssertionError(f"the operator left {ended!r}")
        return int(match[1]), match[2], match[3]

    def modes(self):
        """The terminal's modes now."""
        return self.control("stty -F /dev/ttyS0 -g").strip()

    def start_log(self):
        self.control("rm -f /var/log/messages; syslogd -O /var/log/messages;"
                     " until [ -S /dev/log ]; do usleep 10000; done")

    def stop_log(self):
        self.control("killall syslogd; while pidof syslogd; do usleep 10000; done; rm -f /dev/log")

    def take_log(self):
        """The records of the program that the system's logger has received since the last time:
        severity and text."""
        self.control("logger end-of-records;"
                     " until grep -q end-of-records /var/log/messages; do usleep 10000; done")
        text = self.control("cat /var/log/messages; : >/var/log/messages")
        return [
            (SEVERITIES.index(severity), record)
            for severity, record in re.findall(r"user\.(\w+) board-console: (.*)", text)]

    def file(self, path):
        return bytes.fromhex(self.control(f"xxd -p {path}").replace("\n", ""))
