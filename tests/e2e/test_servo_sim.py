#!/usr/bin/env python3
"""The servo simulator on its pseudo-terminal, driven byte for byte as the tool drives a servo.

Every expected frame below is written out by hand from the wire tables, so that a slip in the
simulator's frame code cannot be mirrored here. Standard library only.

Run: test_servo_sim.py --program <build>/servo_tool --artifacts <dir> [--sim <build>/tools/servo_sim]
"""
import argparse
import os
import select
import signal
import subprocess
import sys
import tempfile
import termios
import time
import tty
import unittest

SIM = None
ARTIFACTS = None


def h(text):
    return bytes.fromhex(text)


INFO_READ = h("8E 00 00 8E")
PARAM_READ = h("81 00 00 81")
# Tag, "SIM-BLOCK-01" padded to 20, "2026" "01" "15", sum - 1.
INFO_DEFAULT = h("8E 53 49 4D 2D 42 4C 4F 43 4B 2D 30 31 20 20 20 20 20 20 20 20 32 30 32 36 30 31 31 35 2D")
# The block packed from the factory defaults (Gain 65, Brake 50, PulseMax 2000, ...), then sum - 1.
BLOCK_DEFAULT = h("26 40 41 32 07 D0 05 DC 03 E8 0D AC 08 00 02 54 03 1D 00 00 C8 63 05 E4 64 0A 00 50 25 31"
                  " 13 0C 00 00 1F 48 13 73")
# Register read requests in the tool's order and the start values' replies (byte 1 carries the code).
REG_READS = [
    (h("AF FA 00 0A 38 00 00 00 00 42"), h("AF 38 00 09 00 50 0B B8 1C")),  # OD 80, OT 3000
    (h("AF FA 00 0A 3D 00 00 00 00 47"), h("AF 3D 00 09 00 41 00 32 7C")),  # KP 65, KD 50
    (h("AF FA 00 0A 3F 00 00 00 00 49"), h("AF 3F 00 09 1F 40 00 00 68")),  # MD 8000
    (h("AF FA 00 0A 50 00 00 00 00 5A"), h("AF 50 00 09 0F A0 1F 40 17")),  # LP 4000, MP 8000
    (h("AF FA 00 0A 51 00 00 00 00 5B"), h("AF 51 00 09 02 54 0D AC 18")),  # LA 596, MA 3500
    (h("AF FA 00 0A 52 00 00 00 00 5C"), h("AF 52 00 09 08 00 00 00 11")),  # CA 2048
    (h("AF FA 00 0A 53 00 00 00 00 5D"), h("AF 53 00 09 00 03 00 00 0C")),  # DZ 3
    (h("AF FA 00 0A 54 00 00 00 00 5E"), h("AF 54 00 09 01 01 00 00 0B")),  # LS 1, RS 1
]
GARBAGE = h("5A C3 17 6D F0")


def block_frame(data35, command=0x40, fix=0):
    frame = bytes([0x26, command]) + bytes(data35)
    return frame + bytes([(sum(frame) - 1 + fix) & 0xFF])


def info_frame(type_text, date, fix=0):
    frame = b"\x8e" + type_text.encode().ljust(20) + date.encode()
    return frame + bytes([(sum(frame) - 1 + fix) & 0xFF])


def register_frame(code, data0, data1, fix=0):
    frame = bytes([0xAF, 0xFA, 0x00, 0x0A, code, data0 >> 8, data0 & 0xFF, data1 >> 8, data1 & 0xFF])
    return frame + bytes([(sum(frame[2:]) + fix) & 0xFF])


class Sim:
    """One simulator process and the tool's end of its pseudo-terminal, opened raw."""

    def __init__(self, name, *args):
        self.log_path = os.path.join(ARTIFACTS, "servo_sim_%s.log" % name)
        if os.path.exists(self.log_path):
            os.unlink(self.log_path)
        self.proc = subprocess.Popen([SIM, "--log", self.log_path, *args], stdout=subprocess.PIPE)
        ready, _, _ = select.select([self.proc.stdout], [], [], 5)
        if not ready:
            self.proc.kill()
            raise AssertionError("the simulator printed no path")
        self.path = self.proc.stdout.readline().decode().strip()
        self.fd = None
        self.open()

    def open(self):
        self.fd = os.open(self.path, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self.fd)
        termios.tcflush(self.fd, termios.TCIOFLUSH)

    def close(self):
        if self.fd is not None:
            os.close(self.fd)
            self.fd = None

    def send(self, data):
        os.write(self.fd, data)

    def read(self, count, timeout=1.0):
        """Up to `count` bytes, waiting at most `timeout` seconds for them."""
        out = b""
        end = time.monotonic() + timeout
        while len(out) < count:
            ready, _, _ = select.select([self.fd], [], [], max(0.0, end - time.monotonic()))
            if not ready:
                break
            out += os.read(self.fd, count - len(out))
        return out

    def quiet(self, seconds=0.15):
        """Whatever arrives within `seconds`; b"" when the line stays quiet."""
        return self.read(1 << 16, seconds)

    def exchange(self, request, answer_len):
        self.send(request)
        return self.read(len(request) + answer_len)

    def unanswered(self, request, wait=0.1):
        """Sends a request that should get its echo alone; returns everything that came back."""
        self.send(request)
        return self.read(len(request)) + self.quiet(wait)

    def log_lines(self):
        with open(self.log_path) as f:
            return [line.rstrip("\n") for line in f]

    def stop(self):
        self.close()
        if self.proc.poll() is None:
            self.proc.terminate()
        try:
            return self.proc.wait(5)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.stop()
        self.proc.stdout.close()


class BlockFamilyServo(unittest.TestCase):
    def test_reads_echo_the_request_then_answer_with_the_start_state(self):
        with Sim("block_reads") as sim:
            self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + INFO_DEFAULT)
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK_DEFAULT)
            self.assertEqual(sim.quiet(), b"")

    def test_block_write_is_acknowledged_and_read_back(self):
        data = bytearray(BLOCK_DEFAULT[2:37])
        data[0] = 0x50  # Gain 80
        data[2:4] = h("08 FC")  # PulseMax 2300
        data[27] = 0x21  # ArmDir off
        write = block_frame(data)
        with Sim("block_write") as sim:
            # As the tool writes: the read request first, then the block after a pause.
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK_DEFAULT)
            self.assertEqual(sim.exchange(write, 4), write + h("80 80 80 80"))
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + write)
        self.assertIn("STORE block " + data.hex(" ").upper(), sim.log_lines())

    def test_info_write_is_acknowledged_and_read_back(self):
        write = info_frame("QX-9", "20251231")
        self.assertEqual(write[-1], 0x2C)  # 8E + "QX-9" + 16 spaces + "20251231", minus one
        with Sim("info_write") as sim:
            self.assertEqual(sim.exchange(write, 1), write + h("01"))
            self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + write)
        self.assertIn("STORE info type=[QX-9                ] date=2025-12-31", sim.log_lines())

    def test_info_write_acknowledgement_byte_is_configurable(self):
        write = info_frame("QX-9", "20251231")
        with Sim("info_ack", "--info-ack", "00") as sim:
            self.assertEqual(sim.exchange(write, 1), write + h("00"))

    def test_writes_with_a_wrong_checksum_are_dropped(self):
        data = bytearray(35)
        for fix in (1, -1):
            with self.subTest(fix=fix), Sim("bad_writes") as sim:
                bad_block = block_frame(data, fix=fix)
                bad_info = info_frame("BAD", "20200101", fix=fix)
                self.assertEqual(sim.unanswered(bad_block), bad_block)
                self.assertEqual(sim.unanswered(bad_info), bad_info)
                self.assertEqual(sim.quiet(), b"")
                self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK_DEFAULT)
                self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + INFO_DEFAULT)
                lines = sim.log_lines()
                self.assertIn("RX %s (bad checksum, dropped)" % bad_block.hex(" ").upper(), lines)
                self.assertFalse([l for l in lines if l.startswith("STORE")])

    def test_block_frame_without_the_write_command_is_not_stored(self):
        frame = block_frame(bytearray(35), command=0x41)
        with Sim("block_no_command") as sim:
            self.assertEqual(sim.unanswered(frame), frame)
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK_DEFAULT)

    def test_register_frames_get_only_their_echo(self):
        with Sim("block_ignores_registers") as sim:
            for request, _ in REG_READS:
                sim.send(request)
            sent = b"".join(r for r, _ in REG_READS)
            self.assertEqual(sim.read(len(sent) + 1, 0.4), sent)


class RegisterFamilyServo(unittest.TestCase):
    def test_each_read_request_gets_its_register_reply(self):
        with Sim("register_reads", "--family", "register") as sim:
            for request, reply in REG_READS:
                self.assertEqual(sim.exchange(request, 9), request + reply)
            self.assertEqual(sim.quiet(), b"")

    def test_write_sequence_is_read_back(self):
        # The tool's twelve write frames: KP 70, KD 40, OD 2 x 80, OT 5 x 1000, MD 90 x 80, LA 600,
        # MA 3400, CA 2000, DZ 5, RS 0, LS 3, LP 900 x 4, MP 2100 x 4, closing 0x46.
        writes = [
            register_frame(0x01, 70, 0), register_frame(0x05, 40, 0), register_frame(0x12, 160, 5000),
            register_frame(0x18, 7200, 0), register_frame(0x40, 0, 600), register_frame(0x41, 0, 3400),
            register_frame(0x42, 0, 2000), register_frame(0x43, 0, 5), register_frame(0x44, 0, 0),
            register_frame(0x45, 0, 3), register_frame(0x48, 3600, 8400), register_frame(0x46, 0, 0),
        ]
        self.assertEqual(writes[2], h("AF FA 00 0A 12 00 A0 13 88 57"))
        expected = [
            h("AF 38 00 09 00 A0 13 88 44"),  # OD 160, OT 5000
            h("AF 3D 00 09 00 46 00 28 77"),  # KP 70, KD 40
            h("AF 3F 00 09 1C 20 00 00 45"),  # MD 7200
            h("AF 50 00 09 0E 10 20 D0 17"),  # LP 3600, MP 8400
            h("AF 51 00 09 02 58 0D 48 B8"),  # LA 600, MA 3400
            h("AF 52 00 09 07 D0 00 00 E0"),  # CA 2000
            h("AF 53 00 09 00 05 00 00 0E"),  # DZ 5
            h("AF 54 00 09 03 00 00 00 0C"),  # LS 3, RS 0
        ]
        with Sim("register_write", "--family", "register") as sim:
            for frame in writes:
                self.assertEqual(sim.unanswered(frame, 0.02), frame)  # no answer to a write
            self.assertEqual(sim.quiet(), b"")
            for (request, _), reply in zip(REG_READS, expected):
                self.assertEqual(sim.exchange(request, 9), request + reply)
        self.assertIn("STORE register 12 DATA0=160 DATA1=5000 -> read 38 = 00 A0 13 88", sim.log_lines())

    def test_block_family_frames_get_only_their_echo(self):
        write = info_frame("QX-9", "20251231")
        with Sim("register_ignores_block", "--family", "register") as sim:
            for frame in (INFO_READ, PARAM_READ, write, BLOCK_DEFAULT):
                self.assertEqual(sim.unanswered(frame), frame)
            self.assertEqual(sim.quiet(), b"")

    def test_register_frames_with_a_wrong_checksum_or_length_are_dropped(self):
        bad_sum = register_frame(0x38, 0, 0, fix=1)
        bad_write = register_frame(0x01, 99, 0, fix=-1)
        bad_length = h("AF FA 00 09 38 00 00 00 00 41")
        with Sim("register_bad_frames", "--family", "register") as sim:
            for frame in (bad_sum, bad_write, bad_length):
                self.assertEqual(sim.unanswered(frame), frame)
            request, reply = REG_READS[1]
            self.assertEqual(sim.exchange(request, 9), request + reply)  # KP still 65


class Faults(unittest.TestCase):
    def test_checksum_fault_puts_one_above_the_right_checksum(self):
        with Sim("fault_checksum", "--fault", "checksum") as sim:
            self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + INFO_DEFAULT[:29] + h("2E"))
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK_DEFAULT[:37] + h("74"))
            # Unchecksummed answers stay as they are.
            write = block_frame(BLOCK_DEFAULT[2:37])
            self.assertEqual(sim.exchange(write, 4), write + h("80 80 80 80"))
        request, reply = REG_READS[0]
        with Sim("fault_checksum_register", "--family", "register", "--fault", "checksum") as sim:
            self.assertEqual(sim.exchange(request, 9), request + reply[:8] + h("1D"))

    def test_counted_fault_applies_to_the_first_answers_only(self):
        with Sim("fault_count", "--fault", "checksum:1", "--fault", "garbage:2") as sim:
            self.assertEqual(sim.exchange(INFO_READ, 35), INFO_READ + GARBAGE + INFO_DEFAULT[:29] + h("2E"))
            self.assertEqual(sim.exchange(INFO_READ, 35), INFO_READ + GARBAGE + INFO_DEFAULT)
            self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + INFO_DEFAULT)

    def test_silent_fault_sends_the_echo_only(self):
        with Sim("fault_silent", "--fault", "silent") as sim:
            self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ)
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ)
        self.assertIn("SILENT " + INFO_DEFAULT.hex(" ").upper() + " (answer withheld)", sim.log_lines())

    def test_late_fault_delays_the_answer_but_not_the_echo(self):
        with Sim("fault_late", "--fault", "late", "--late-ms", "250") as sim:
            start = time.monotonic()
            sim.send(INFO_READ)
            self.assertEqual(sim.read(4), INFO_READ)
            self.assertLess(time.monotonic() - start, 0.2)
            # A second request during the wait is echoed at once, ahead of the first answer.
            sim.send(PARAM_READ)
            self.assertEqual(sim.read(4), PARAM_READ)
            self.assertLess(time.monotonic() - start, 0.2)
            self.assertEqual(sim.read(30 + 38, 2.0), INFO_DEFAULT + BLOCK_DEFAULT)
            self.assertGreaterEqual(time.monotonic() - start, 0.24)

    def test_garbage_fault_puts_bytes_ahead_of_the_answer(self):
        request, reply = REG_READS[7]
        with Sim("fault_garbage", "--family", "register", "--fault", "garbage") as sim:
            self.assertEqual(sim.exchange(request, 14), request + GARBAGE + reply)

    def test_info_0x80_fault_sets_byte_1_and_keeps_the_checksum_right(self):
        expected = INFO_DEFAULT[:1] + h("80") + INFO_DEFAULT[2:29] + h("5A")
        with Sim("fault_info_0x80", "--fault", "info-0x80") as sim:
            self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + expected)
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK_DEFAULT)


class LinkAndLog(unittest.TestCase):
    def test_no_echo_sends_the_answer_alone(self):
        with Sim("no_echo", "--no-echo") as sim:
            sim.send(INFO_READ)
            self.assertEqual(sim.read(31, 0.5), INFO_DEFAULT)

    def test_serves_again_after_the_port_is_closed_and_reopened(self):
        with Sim("reopen") as sim:
            self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + INFO_DEFAULT)
            sim.close()
            time.sleep(0.1)
            sim.open()
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK_DEFAULT)
            self.assertIsNone(sim.proc.poll())

    def test_requests_split_or_behind_stray_bytes_are_still_answered(self):
        with Sim("framing") as sim:
            sim.send(INFO_READ[:2])
            self.assertEqual(sim.read(2), INFO_READ[:2])
            time.sleep(0.02)
            self.assertEqual(sim.exchange(INFO_READ[2:], 30), INFO_READ[2:] + INFO_DEFAULT)
            noisy = h("11 22 81 00 8E 00 00 8E")  # "81 00" starts a request that goes wrong
            self.assertEqual(sim.exchange(noisy, 30), noisy + INFO_DEFAULT)
            # A frame cut short is dropped after a pause, so it cannot swallow the next request.
            self.assertEqual(sim.unanswered(h("26 40 41"), 0.15), h("26 40 41"))
            self.assertEqual(sim.exchange(PARAM_READ, 38), PARAM_READ + BLOCK_DEFAULT)
        lines = sim.log_lines()
        self.assertIn("RX 11 22 81 00 (stray)", lines)
        self.assertIn("RX 26 40 41 (incomplete, dropped)", lines)

    def test_log_records_frames_answers_and_stores(self):
        write = info_frame("LOG", "20240229")
        with Sim("log") as sim:
            sim.exchange(INFO_READ, 30)
            sim.exchange(write, 1)
        lines = sim.log_lines()
        self.assertTrue(lines[0].startswith("START family=block echo=on faults=none"))
        start = lines.index("RX 8E 00 00 8E")
        self.assertEqual(lines[start + 1], "TX " + INFO_DEFAULT.hex(" ").upper())
        self.assertEqual(lines[start + 2:start + 5], [
            "RX " + write.hex(" ").upper(),
            "STORE info type=[LOG                 ] date=2024-02-29",
            "TX 01",
        ])
        self.assertEqual(lines[-1], "STOP")

    def test_link_points_at_the_port_and_goes_away_on_exit(self):
        with tempfile.TemporaryDirectory() as tmp:
            link = os.path.join(tmp, "servo")
            with Sim("link", "--link", link) as sim:
                self.assertEqual(os.readlink(link), sim.path)
                self.assertEqual(sim.exchange(INFO_READ, 30), INFO_READ + INFO_DEFAULT)
                self.assertEqual(sim.stop(), 0)
            self.assertFalse(os.path.lexists(link))

    def test_serves_on_a_given_serial_device(self):
        # A pty slave stands in for the adapter; we talk from its master side.
        master, slave = os.openpty()
        try:
            tty.setraw(master)
            proc = subprocess.Popen([SIM, "--device", os.ttyname(slave), "--family", "register"],
                                    stdout=subprocess.PIPE)
            try:
                self.assertEqual(proc.stdout.readline().decode().strip(), os.ttyname(slave))
                attrs = termios.tcgetattr(slave)
                self.assertEqual(attrs[4:6], [termios.B115200, termios.B115200])
                self.assertTrue(attrs[2] & termios.CSTOPB)
                request, reply = REG_READS[0]
                os.write(master, request)
                got = b""
                while len(got) < len(request) + len(reply):
                    ready, _, _ = select.select([master], [], [], 1.0)
                    if not ready:
                        break
                    got += os.read(master, 64)
                self.assertEqual(got, request + reply)
            finally:
                proc.terminate()
                self.assertEqual(proc.wait(5), 0)
                proc.stdout.close()
        finally:
            os.close(master)
            os.close(slave)

    def test_interrupt_ends_it_cleanly(self):
        with Sim("sigint") as sim:
            sim.close()
            sim.proc.send_signal(signal.SIGINT)
            self.assertEqual(sim.proc.wait(5), 0)

    def test_help_and_bad_options(self):
        out = subprocess.run([SIM, "--help"], capture_output=True, text=True, timeout=5)
        self.assertEqual(out.returncode, 0)
        self.assertIn("Usage: servo_sim", out.stdout)
        for args in (["--fault", "wobble"], ["--fault", "late:0"], ["--family", "both"], ["--info-ack", "100"],
                     ["--late-ms", "-1"], ["stray"]):
            with self.subTest(args=args):
                out = subprocess.run([SIM, *args], capture_output=True, text=True, timeout=5)
                self.assertEqual(out.returncode, 2)
                self.assertEqual(out.stdout, "")


def main():
    global SIM, ARTIFACTS
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True, help="the tool; the simulator is found beside it")
    parser.add_argument("--artifacts", required=True)
    parser.add_argument("--sim", help="the simulator (default: <program dir>/tools/servo_sim)")
    args, rest = parser.parse_known_args()
    SIM = args.sim or os.path.join(os.path.dirname(os.path.abspath(args.program)), "tools", "servo_sim")
    ARTIFACTS = os.path.abspath(args.artifacts)
    os.makedirs(ARTIFACTS, exist_ok=True)
    if not os.access(SIM, os.X_OK):
        print("servo simulator not found at %s" % SIM, file=sys.stderr)
        return 1
    result = unittest.main(argv=[sys.argv[0], *rest], exit=False, verbosity=2).result
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
