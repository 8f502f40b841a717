"""The chips behind the board's two SPI controllers, as their wire formats have them, and the other
end of the mailbox through which the emulated machine's kernel reaches them (spi_mailbox.c)."""

import threading
import time
from collections import namedtuple

# One transfer as the kernel was asked for it. `mode` holds the SPI mode, and 8 for LSB first.
Transfer = namedtuple("Transfer", "mode hertz bits sent")


class EqualiserChain:
    """M23664 cable equalisers: one shift register through all chips, two bytes in each. At the end
    of a transfer each acts on its frame: register with bit 7 for read, data."""

    STATUS = 15
    NO_SIGNAL = 0x01

    def __init__(self, count):
        self.chips = [{1: 1, self.STATUS: self.NO_SIGNAL} for _ in range(count)]
        self.frames = bytearray(2 * count)  # what leaves first stands first: the last chip's

    def exchange(self, sent):
        stream = self.frames + sent
        received, self.frames = stream[: len(sent)], stream[len(sent) :]
        for position, chip in enumerate(reversed(self.chips)):
            register, data = self.frames[2 * position : 2 * position + 2]
            if register & 0x80:
                self.frames[2 * position + 1] = chip.get(register & 0x7F, 0)
            elif register != 0x7F:
                chip[register] = data
        return bytes(received)


class DriverChain:
    """GS12281 cable drivers: words of 16 bits, command, address, data. Unit 0 is the next chip
    without an address; its register 0 makes all forget theirs (0x4000) or gives it one (0x2000)."""

    def __init__(self, count):
        self.units = [0] * count

    def exchange(self, sent):
        command, address, value = (int.from_bytes(sent[i : i + 2], "big") for i in (0, 2, 4))
        if command == 0x2000 and address == 0:
            if value & 0x4000:
                self.units = [0] * len(self.units)
            if value & 0x2000 and 0 in self.units:
                self.units[self.units.index(0)] = value & 0x1F
        return bytes(len(sent))


class Mailbox:
    """Plays `chain` behind the controller whose mailbox begins at `offset` of `memory`, until
    close. Without a chain each transfer fails in the machine with EIO."""

    PRESENT, SENT, ANSWERED, LENGTH, HERTZ, MODE, BITS = range(7)
    TO_CHIPS, FROM_CHIPS, BYTES = 0x1000, 0x2000, 0x10000

    def __init__(self, memory, offset):
        self.bytes = memoryview(memory)[offset : offset + self.BYTES]
        self.words = self.bytes.cast("I")  # each access is one of 32 bits
        self.transfers = []
        self.chain = None
        self._closing = False
        self._player = threading.Thread(target=self._play, daemon=True)
        self._player.start()

    def connect(self, chain):
        self.chain = chain
        self.transfers.clear()
        self.words[self.PRESENT] = chain is not None

    def close(self):
        self._closing = True
        self._player.join()

    def _play(self):
        words = self.words
        while not self._closing:
            number = words[self.SENT]
            if number == words[self.ANSWERED]:
                time.sleep(0.0005)
                continue
            length = words[self.LENGTH]
            sent = bytes(self.bytes[self.TO_CHIPS : self.TO_CHIPS + length])
            self.transfers.append(
                Transfer(words[self.MODE], words[self.HERTZ], words[self.BITS], sent))
            self.bytes[self.FROM_CHIPS : self.FROM_CHIPS + length] = self.chain.exchange(sent)
            words[self.ANSWERED] = number
