#!/usr/bin/python3
"""Figures of the Windows program under wine (run by `tools/test_windows.sh --bench`): launch to
first frame, CPU while idle and resident memory (the working set as the host sees it), each as
min / median / max over several runs, every run on a fresh X server and wine server.

CPU is counted for the program's threads and, separately, for the wine server, which carries
every message and timer wake-up of a program under wine (Windows does that in its kernel).
"""

import argparse
import os
import re
import statistics
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "tests", "e2e"))
from win_session import WineSession  # noqa: E402

IDLE_FROM_S, IDLE_TO_S = 4, 14  # after the first frame: the tick has slowed to its idle pace


def cpu_seconds(pid):
    """CPU time of every thread of pid (the scheduler's own count, in nanoseconds, summed)."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/schedstat") as f:
                total += int(f.read().split()[0])
        except OSError:
            pass  # the thread just ended
    return total / 1e9


def status_kb(pid, key):
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith(key):
                return int(line.split()[1])
    return -1


def wineserver_pid():
    """The wine server of this prefix: its working folder is named after the prefix's inode."""
    st = os.stat(os.environ["WINEPREFIX"])
    want = f"server-{st.st_dev:x}-{st.st_ino:x}"
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            if os.path.basename(os.readlink(f"/proc/{pid}/cwd")) == want:
                with open(f"/proc/{pid}/comm") as f:
                    if f.read().startswith("wineserver"):
                        return int(pid)
        except OSError:
            continue
    return None


def one_run(program, artifacts, index):
    s = WineSession(artifacts, f"run-{index}")
    try:
        s.start_x()
        server = wineserver_pid()
        t0 = time.time()
        s.start_program(program)
        m = s.wait_log(r"first frame shown (\d+) ms after start", timeout=60)
        launch_ms = (time.time() - t0) * 1000
        pid = s.program.pid
        time.sleep(IDLE_FROM_S)
        c0, w0 = cpu_seconds(pid), (cpu_seconds(server) if server else 0.0)
        t1 = time.time()
        time.sleep(IDLE_TO_S - IDLE_FROM_S)
        wall = time.time() - t1
        program_cpu = (cpu_seconds(pid) - c0) / wall * 100
        server_cpu = ((cpu_seconds(server) - w0) / wall * 100) if server else float("nan")
        return {"launch to first frame (ms)": launch_ms, "program's own count (ms)": float(m.group(1)),
                "idle CPU, program (% of a core)": program_cpu, "idle CPU, wine server (% of a core)": server_cpu,
                "working set, VmRSS (MB)": status_kb(pid, "VmRSS:") / 1024}
    finally:
        s.stop()


def main():
    p = argparse.ArgumentParser()
    p.add_argument("--program", required=True, help="path of servo_tool.exe")
    p.add_argument("--runs", type=int, default=5)
    args = p.parse_args()
    artifacts = tempfile.mkdtemp(prefix="servo-bench-win-")
    runs = [one_run(args.program, artifacts, i) for i in range(args.runs)]
    print(f"servo_tool.exe under wine, {args.runs} runs (idle: {IDLE_FROM_S} s to {IDLE_TO_S} s after the first frame)")
    print(f"{'':40} {'min':>9} {'median':>9} {'max':>9}")
    for key in runs[0]:
        values = [r[key] for r in runs]
        print(f"{key:40} {min(values):9.2f} {statistics.median(values):9.2f} {max(values):9.2f}")


if __name__ == "__main__":
    main()
