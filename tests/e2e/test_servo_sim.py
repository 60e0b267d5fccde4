#!/usr/bin/env python3
"""Smoke test of the servo simulator on its pseudo-terminal: echo then answer for both families,
a write read back, --no-echo, and each fault kind. Expected frames are written out by hand from
the wire tables, so that a slip in the simulator's frame code cannot be mirrored here.

Run: test_servo_sim.py --program <build>/servo_tool --artifacts <dir>
"""
import argparse
import os
import select
import subprocess
import sys
import termios
import tty
import unittest

SIM = None
LOGS = None
h = bytes.fromhex

INFO_READ = h("8E 00 00 8E")
PARAM_READ = h("81 00 00 81")
# Tag, "SIM-BLOCK-01" padded to 20, "2026" "01" "15", sum - 1.
INFO = h("8E 53 49 4D 2D 42 4C 4F 43 4B 2D 30 31 20 20 20 20 20 20 20 20 32 30 32 36 30 31 31 35 2D")
# The block packed from the factory defaults (Gain 65, Brake 50, PulseMax 2000, ...), then sum - 1.
BLOCK = h("26 40 41 32 07 D0 05 DC 03 E8 0D AC 08 00 02 54 03 1D 00 00 C8 63 05 E4 64 0A 00 50 25 31"
          " 13 0C 00 00 1F 48 13 73")
# Register reads of OD/OT and LS/RS, and the start values' replies (byte 1 carries the code).
OD_READ, OD_REPLY = h("AF FA 00 0A 38 00 00 00 00 42"), h("AF 38 00 09 00 50 0B B8 1C")  # OD 80, OT 3000
LS_READ, LS_REPLY = h("AF FA 00 0A 54 00 00 00 00 5E"), h("AF 54 00 09 01 01 00 00 0B")  # LS 1, RS 1


class Sim:
    """One simulator process and the tool's end of its pseudo-terminal, opened raw."""

    def __init__(self, name, *args):
        log = os.path.join(LOGS, "servo_sim_%s.log" % name)
        self.proc = subprocess.Popen([SIM, "--log", log, *args], stdout=subprocess.PIPE)
        if not select.select([self.proc.stdout], [], [], 5)[0]:
            self.proc.kill()
            raise AssertionError("the simulator printed no path")
        self.fd = os.open(self.proc.stdout.readline().decode().strip(), os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self.fd)
        termios.tcflush(self.fd, termios.TCIOFLUSH)

    def read(self, count, timeout):
        """Up to `count` bytes, waiting at most `timeout` seconds for each part."""
        out = b""
        while len(out) < count and select.select([self.fd], [], [], timeout)[0]:
            out += os.read(self.fd, count - len(out))
        return out

    def exchange(self, request, answer_len, timeout=1.0):
        os.write(self.fd, request)
        return self.read(len(request) + answer_len, timeout)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        os.close(self.fd)
        self.proc.terminate()
        self.proc.stdout.close()
        assert self.proc.wait(5) == 0, "the simulator did not end cleanly"


class ServoSim(unittest.TestCase):
    def test_block_family_echoes_then_answers_and_keeps_a_written_block(self):
        write = BLOCK[:2] + h("50") + BLOCK[3:4] + h("08 FC") + BLOCK[6:37]  # Gain 80, PulseMax 2300
        write += bytes([(sum(write) - 1) & 0xFF])
        with Sim("block") as sim:
            self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + INFO)
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK)
            self.assertEqual(sim.exchange(write, 4), write + h("80 80 80 80"))
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + write)
            self.assertEqual(sim.exchange(OD_READ, 9, 0.2), OD_READ)  # the other family's frame: echo only

    def test_register_family_echoes_then_answers_and_keeps_a_written_register(self):
        write = h("AF FA 00 0A 12 00 A0 13 88 57")  # OD 2 x 80, OT 5 x 1000
        with Sim("register", "--family", "register") as sim:
            self.assertEqual(sim.exchange(OD_READ, 9), OD_READ + OD_REPLY)
            self.assertEqual(sim.exchange(LS_READ, 9), LS_READ + LS_REPLY)
            self.assertEqual(sim.exchange(write, 9, 0.2), write)  # a write has no answer
            self.assertEqual(sim.exchange(OD_READ, 9), OD_READ + h("AF 38 00 09 00 A0 13 88 44"))
            self.assertEqual(sim.exchange(INFO_READ, 30, 0.2), INFO_READ)  # the other family's frame

    def test_no_echo_and_each_fault_change_the_answer(self):
        cases = [  # options, what comes back within 0.3 s, what comes later
            (["--no-echo"], INFO, b""),
            (["--fault", "checksum"], INFO_READ + INFO[:29] + h("2E"), b""),
            (["--fault", "silent"], INFO_READ, b""),
            (["--fault", "late", "--late-ms", "600"], INFO_READ, INFO),
            (["--fault", "garbage"], INFO_READ + h("5A C3 17 6D F0") + INFO, b""),
            (["--fault", "info-0x80"], INFO_READ + INFO[:1] + h("80") + INFO[2:29] + h("5A"), b""),
            (["--fault", "checksum:1"], INFO_READ + INFO[:29] + h("2E"), b""),  # the first answer only...
        ]
        for i, (options, at_once, later) in enumerate(cases):
            with self.subTest(options=options), Sim("option%d" % i, *options) as sim:
                self.assertEqual(sim.exchange(INFO_READ, 35, 0.3), at_once)
                self.assertEqual(sim.read(35, 0.8), later)
                if options[-1] == "checksum:1":  # ...the next one is right again
                    self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + INFO)


def main():
    global SIM, LOGS
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True, help="the tool; the simulator is built beside it")
    parser.add_argument("--artifacts", required=True)
    args, rest = parser.parse_known_args()
    SIM = os.path.join(os.path.dirname(os.path.abspath(args.program)), "tools", "servo_sim")
    LOGS = os.path.abspath(args.artifacts)
    os.makedirs(LOGS, exist_ok=True)
    if not os.access(SIM, os.X_OK):
        print("servo simulator not found at %s" % SIM, file=sys.stderr)
        return 1
    result = unittest.main(argv=[sys.argv[0], *rest], exit=False, verbosity=2).result
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
