"""servo_cli against the servo simulator on pseudo-terminals: both families, the simulator's faults (each gives its
exit code and message, never a verified write), the file conversions, and (--production, root only) a production run
with the simulator plugged in and pulled out as a USB adapter in a private mount namespace."""

import argparse
import csv
import json
import os
import signal
import subprocess
import sys
import threading

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from x11_session import Failure, Simulator, UsbNamespace, check, run_tests, skip_without_namespaces

ARGS = None
DATA = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "data")

def cli(*args, timeout=30):
    """Runs servo_cli; returns (exit code, standard output, standard error)."""
    res = subprocess.run([ARGS.cli, *args], capture_output=True, text=True, timeout=timeout)
    return res.returncode, res.stdout, res.stderr

def cli_json(*args):
    rc, out, err = cli(*args, "--json")
    check(len(out.splitlines()) == 1, f"one JSON object expected, got {out!r} ({err})")
    return rc, json.loads(out)

def write(path, text, mode="w"):
    with open(path, mode) as f:
        f.write(text)

def test_usage_ports_and_unopenable_port(tmp):
    rc, out, _ = cli("--help")
    check(rc == 0 and "5  bad parameter file" in out and "production --reference" in out, "--help")
    check(cli("params", "write", "--help")[1].count("no valid answer") == 1, "a command's --help lists the codes")
    for bad in (["frobnicate"], ["params", "write"], ["info", "write", "--type", "X"], ["ports", "--timeout", "0"]):
        check(cli(*bad)[0] == 2, f"{bad} should be a usage error")
    rc, doc = cli_json("ports")
    check(rc == 0 and isinstance(doc["ports"], list), "ports")
    rc, doc = cli_json("info", "read", "--port", os.path.join(tmp, "no-such-tty"))
    check(rc == 3 and "Seiral Open Error: Can't Open This Comport" in doc["messages"], f"open failure: {doc}")

def test_block_family_information_and_parameters_round_trip(tmp):
    with Simulator(ARGS.cli, tmp, "--family", "block") as sim:
        port = ["--port", sim.pty]
        rc, doc = cli_json("info", "read", *port)
        check(rc == 0 and doc["type"] == "SIM-BLOCK-01" and doc["date"] == "2026-01-15", f"info read: {doc}")
        rc, out, err = cli("info", "write", "--type", "SIM-BLOCK-77", "--date", "2026-13-01", *port)
        check(rc == 2 and "Error: Month must be between 1-12!" in err, "refused date")
        check(not sim.lines("STORE info"), "a refused write must send nothing")
        odd_type = 'Q"7\\\n\x01'  # quote, backslash and control characters must survive JSON
        check(cli("info", "write", "--type", odd_type, "--date", "2027-02-28", *port)[0] == 0, "info write")
        doc = cli_json("info", "read", *port)[1]
        check(doc["date"] == "2027-02-28" and doc["type"] == odd_type, f"information read back: {doc}")
        saved = os.path.join(tmp, "block.txt")
        rc, doc = cli_json("params", "read", "--out", saved, *port)
        check(rc == 0 and doc["family"] == "block" and doc["values"]["Gain"] == 65 and len(doc["values"]) == 17,
              f"params read: {doc}")
        lines = open(saved).read().splitlines()
        check(len(lines) == 36 and lines[0] == "ConfigBuffer[0] = 64;" and lines[1] == "ConfigBuffer[1] = 65;",
              "saved file")
        write(saved, "\n".join(lines).replace("ConfigBuffer[1] = 65;", "ConfigBuffer[1] = 66;") + "\n")
        rc, out, _ = cli("params", "write", saved, *port)
        check(rc == 0 and "verified: every field matches" in out, f"write: {out}")
        check(int(sim.lines("STORE block ")[-1].split()[2], 16) == 66, "the servo did not store the gain")
        damaged = os.path.join(tmp, "damaged.txt")
        write(damaged, open(saved).read().replace("ConfigBuffer[1] = 66;", "ConfigBuffer[1] = 67;") + "Gain 70\n")
        stored = len(sim.lines("STORE block "))
        rc, out, err = cli("params", "write", damaged, *port)
        check(rc == 5 and "Line 37: Format error" in err, f"damaged file: {rc} {err}")
        check(len(sim.lines("STORE block ")) == stored, "a file with a bad line must not be written")
        # verify against a file the servo does not hold, a hidden setting too
        write(saved, "ConfigBuffer[8] = 200;\nConfigBuffer[19] = 100;\n", "a")
        rc, doc = cli_json("params", "verify", saved, *port)
        check(rc == 1 and doc["mismatches"] == [{"field": "MinPulse", "expected": 968, "read": 1000},
                                                {"field": "SpeedMax", "expected": 100, "read": 200}],
              f"verify mismatch: {doc}")

def test_register_family_parameters_round_trip(tmp):
    with Simulator(ARGS.cli, tmp, "--family", "register") as sim:
        port = ["--port", sim.pty]
        saved = os.path.join(tmp, "register.txt")
        rc, doc = cli_json("params", "read", "--out", saved, *port)
        check(rc == 0 and doc["family"] == "register", f"params read: {doc}")
        text = open(saved).read()
        check(text.startswith("KP:65\nKD:50\nLP:4000\n") and text.count("\n") == 14, f"saved file: {text!r}")
        write(saved, text.replace("KP:65", "KP:72").replace("MD:8000", "MD:9600"))
        rc, out, _ = cli("params", "write", saved, *port)
        check(rc == 0 and "verified" in out, f"write: {out}")
        check(any("STORE register 18 DATA0=9600" in line for line in sim.lines()), "MD not stored")
        check(cli("params", "write", saved, "--no-verify", *port)[1].strip() == "written: register family",
              "--no-verify reads nothing back")
        check(cli("info", "read", *port)[0] == 4, "a register-family servo has no information to read")
        # LP unchanged (0 = the cache) sends the cached MP too: caught, not passed
        write(saved, text.replace("LP:4000", "LP:0"))
        rc, out, _ = cli("params", "write", saved, *port)
        check(rc == 1 and "mismatch MP: expected 8000, read 0" in out, f"LP 0: {out}")
        # KP 70 makes the reply's checksum 0x81, which the parser takes for echo
        write(saved, text.replace("KP:65", "KP:70"))
        rc, out, err = cli("params", "write", saved, *port)
        check(rc == 4 and "verified" not in out, f"KP 70: {rc} {out} {err}")

# family, simulator options, command, exit code, a text on standard error
FAULTS = [
    ("block", ["--fault", "checksum"], ["params", "read"], 4, "No answer from the servo within 500 ms"),
    ("block", ["--fault", "silent"], ["info", "read"], 4, "Error: Servo information read timeout!"),
    ("block", ["--fault", "late", "--late-ms", "3000"], ["params", "read"], 4, "No answer"),
    ("block", ["--fault", "late", "--late-ms", "900"], ["params", "read", "--timeout", "2000"], 0, "Read  Param"),
    ("block", ["--fault", "garbage"], ["info", "read"], 4, "Error: 读取信息失败！"),
    ("block", ["--fault", "info-0x80"], ["info", "read"], 4, "Error: 读取信息失败！"),
    ("register", ["--fault", "checksum"], ["params", "read"], 4, "answer was refused"),
    ("register", ["--fault", "checksum:1"], ["params", "write", "REF"], 4, "answer was refused"),
    ("register", ["--fault", "silent:3"], ["params", "read"], 4, "No answer"),
    ("register", ["--fault", "late", "--late-ms", "3000"], ["params", "read"], 4, "No answer"),
    ("register", ["--fault", "garbage"], ["params", "read"], 0, "Read  Parameter successfully!"),
    ("block", ["--fault", "value:2"], ["params", "write", "REF"], 1, "mismatch Gain: expected 65, read 66"),
    ("register", ["--fault", "value:1"], ["params", "write", "REF"], 1, "mismatch OD: expected 80, read 81"),
]

def test_faults_give_their_exit_code_and_message_and_never_a_verified_write(tmp):
    refs = {}
    for family in ("block", "register"):
        refs[family] = os.path.join(tmp, f"ref-{family}.txt")
        with Simulator(ARGS.cli, tmp, "--family", family) as sim:
            check(cli("params", "read", "--out", refs[family], "--port", sim.pty)[0] == 0, "reference read")
    failures = []
    for family, options, command, code, text in FAULTS:
        with Simulator(ARGS.cli, tmp, "--family", family, *options) as sim:
            rc, out, err = cli(*[refs[family] if a == "REF" else a for a in command], "--port", sim.pty)
        said = out + err
        if rc != code or text not in said or (code != 0 and "verified: every" in said):
            failures.append(f"{family} {options} {command}: exit {rc}, said {said.strip()!r}")
    check(not failures, "\n".join(failures))

def test_convert_carries_the_shared_fields_and_refuses_a_bad_file(tmp):
    block = os.path.join(DATA, "configbuffer_defaults.txt")
    jvn = os.path.join(tmp, "out.txt")
    rc, doc = cli_json("convert", block, jvn)
    check(rc == 0 and doc["from"] == "block" and "Time2" in doc["not_carried"] and "Gain" not in doc["not_carried"],
          f"convert: {doc}")
    check(open(jvn).read() == "KP:65\nKD:50\nLP:4000\nMP:8000\nOD:80\nOT:300000\nMD:8000\nDZ:3\nLA:596\nMA:3500\n"
          "CA:2048\nLD:0\nRS:1\nLS:1\n", "JVN content")
    back = os.path.join(tmp, "back.txt")
    rc, doc = cli_json("convert", jvn, back)
    check(rc == 0 and doc["not_carried"] == ["LD"], f"convert back: {doc}")
    check(open(back).read().splitlines()[1:3] == ["ConfigBuffer[1] = 65;", "ConfigBuffer[2] = 50;"], "block back")
    bad = os.path.join(tmp, "bad.txt")
    write(bad, "KP:65\nGain 70\n")
    target = os.path.join(tmp, "never.txt")
    rc, out, err = cli("convert", bad, target)
    check(rc == 5 and "Unknown keyword" in err and not os.path.exists(target), f"bad file: {rc} {err}")
    check(not [n for n in os.listdir(tmp) if ".part" in n], "a temporary file was left behind")

def next_line(stream, what, starts=""):
    """The next line of the pipe that starts so; a hung program is ended by the watchdog below, ending the wait."""
    for line in iter(stream.readline, ""):
        if line.startswith(starts):
            return line.rstrip("\n")
    raise Failure(f"servo_cli never printed {what}")

def test_production_run_with_adapters_plugged_and_pulled(tmp):
    ns = UsbNamespace()
    sim = Simulator(ARGS.cli, tmp, "--family", "block")
    faulty = Simulator(ARGS.cli, tmp, "--family", "block", "--fault", "value")
    reference, log = os.path.join(tmp, "reference.txt"), os.path.join(tmp, "results.csv")
    check(cli("info", "write", "--type", 'SIM,"7"', "--date", "2026-01-15", "--port", sim.pty)[0] == 0, "type")
    check(cli("params", "read", "--out", reference, "--port", sim.pty)[0] == 0, "reference read")
    in_ns = [ns.command(ARGS.cli, *args) for args in (["info", "read"], ["ports"], ["info", "read", "--json"])]
    check(subprocess.run(in_ns[0], capture_output=True).returncode == 3, "no adapter plugged: exit 3")
    ns.plug(sim.pty)
    check(subprocess.run(in_ns[1], capture_output=True, text=True).stdout == "/dev/ttyUSB0\n", "ports")
    check(json.loads(subprocess.run(in_ns[2], capture_output=True, text=True).stdout)["port"] == "/dev/ttyUSB0",
          "the only adapter is the default port")
    ns.unplug()
    prod = subprocess.Popen(ns.command(ARGS.cli, "production", "--reference", reference, "--log", log),
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    watchdog = threading.Timer(200, prod.kill)
    watchdog.start()
    try:
        results = []
        for servo in [sim] * 20 + [faulty]:
            ns.plug(servo.pty)
            results.append(next_line(prod.stdout, "a result"))
            ns.unplug()
            next_line(prod.stderr, "the removal", "servo_cli: /dev/ttyUSB0 pulled out")
        prod.send_signal(signal.SIGINT)
        summary = next_line(prod.stdout, "the summary")
        prod.wait(10)
    finally:
        watchdog.cancel()
        if prod.poll() is None:
            prod.kill()
        ns.stop(), sim.stop(), faulty.stop()
    check(all(r.startswith('PASS /dev/ttyUSB0 block SIM,"7" 2026-01-15 ') for r in results[:20]), f"results: {results}")
    check(results[20].startswith("FAIL ") and results[20].endswith(" Gain"), f"the faulty servo: {results[20]}")
    rows = list(csv.DictReader(open(log)))
    check(len(rows) == 21 and [r["result"] for r in rows] == ["PASS"] * 20 + ["FAIL"], "CSV rows")
    check(rows[20]["differing"] == "Gain" and rows[0]["type"] == 'SIM,"7"', f"CSV fields: {rows[0]} {rows[20]}")
    check(summary.startswith("servos: 21, passed: 20, failed: 1, mean time per servo: ") and prod.returncode == 1,
          f"summary: {summary!r} exit {prod.returncode}")

def main():
    global ARGS
    p = argparse.ArgumentParser()
    p.add_argument("--cli", required=True, help="path of the built servo_cli (tools/servo_sim beside it)")
    p.add_argument("--artifacts", required=True)
    p.add_argument("--production", action="store_true", help="run the production case (root only)")
    ARGS = p.parse_args()
    if ARGS.production:
        skip_without_namespaces()
    tests = [f for n, f in globals().items() if n.startswith("test_") and ("production" in n) == ARGS.production]
    return run_tests(tests, ARGS.artifacts, x_server=False)

if __name__ == "__main__":
    sys.exit(main())
