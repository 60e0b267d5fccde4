"""A private X server with the real program in it, driven as a user would (xdotool), with
screenshots kept as test artefacts. Shared by the end-to-end tests.

Needs Xvfb, xdotool, xprop (x11-utils) and Debian's python3-pil.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import time

from PIL import Image, ImageChops, ImageGrab

SCREEN_W, SCREEN_H = 1280, 1024
WINDOW_TITLE = "QRX_SERVO_TOOL_V_1_0_7"
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FAKE_USB = os.path.join(ROOT, "tools", "fake_usb_adapter.sh")
SKIP = 77  # exit code ctest reports as "skipped"


def parse_args():
    p = argparse.ArgumentParser()
    p.add_argument("--program", required=True, help="path of the built servo_tool")
    p.add_argument("--artifacts", required=True, help="folder for screenshots and logs")
    p.add_argument("--update-references", action="store_true",
                   help="write the screenshots compared with reference pictures as the new references")
    return p.parse_args()


class Failure(Exception):
    pass


def check(cond, message):
    if not cond:
        raise Failure(message)


class X11Session:
    """Xvfb on a free display; the program started from its own folder (where its picture is)."""

    def __init__(self, artifacts, name):
        self.artifacts = os.path.join(artifacts, name)
        os.makedirs(self.artifacts, exist_ok=True)
        self.xvfb = None
        self.program = None
        self.display = None
        self.stderr_path = os.path.join(self.artifacts, "program-stderr.log")
        self.cleanups = []  # called after the program has stopped, last first

    # ---- X server ----
    def start_x(self):
        r, w = os.pipe()
        self.xvfb = subprocess.Popen(
            ["Xvfb", "-displayfd", str(w), "-screen", "0", f"{SCREEN_W}x{SCREEN_H}x24", "-nolisten", "tcp", "-noreset"],
            pass_fds=(w,), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(w)
        number = b""
        deadline = time.time() + 20
        while not number.endswith(b"\n") and time.time() < deadline:
            chunk = os.read(r, 16)
            if not chunk:
                break
            number += chunk
        os.close(r)
        check(number.strip(), "Xvfb did not report a display number")
        self.display = ":" + number.decode().strip()
        return self

    def env(self):
        env = dict(os.environ)
        env["DISPLAY"] = self.display
        # GTK's file chooser without a desktop session: no accessibility bus, portal or dconf.
        env.update({"NO_AT_BRIDGE": "1", "GIO_USE_VFS": "local", "GTK_USE_PORTAL": "0",
                    "DBUS_SESSION_BUS_ADDRESS": "disabled:", "GSETTINGS_BACKEND": "memory", "LANG": "C.UTF-8"})
        return env

    def run(self, *cmd, check_rc=True, timeout=30):
        res = subprocess.run(list(cmd), env=self.env(), capture_output=True, text=True, timeout=timeout)
        if check_rc and res.returncode != 0:
            raise Failure(f"{' '.join(cmd)} failed: {res.stderr.strip()}")
        return res.stdout

    # ---- the program ----
    def start_program(self, program, cwd=None, extra_env=None, namespace=None):
        """Starts the program from its folder; inside `namespace` (a UsbNamespace) if given."""
        env = self.env()
        if extra_env:
            env.update(extra_env)
        self.program_path = os.path.abspath(program)
        self.program_cwd = cwd or os.path.dirname(self.program_path)
        self.started_at = time.time()
        cmd = [self.program_path] if namespace is None else namespace.command(self.program_path,
                                                                                cwd=self.program_cwd)
        self.program = subprocess.Popen(cmd, cwd=self.program_cwd, env=env,
                                        stdout=subprocess.DEVNULL, stderr=open(self.stderr_path, "wb"))
        return self

    def stderr_text(self):
        with open(self.stderr_path, "rb") as f:
            return f.read().decode("utf-8", "replace")

    def windows(self, name_pattern):
        """Ids of the windows whose name matches the pattern (xwininfo sees windows that
        xdotool's search misses, such as SDL's message boxes)."""
        found = []
        for line in self.run("xwininfo", "-root", "-tree", check_rc=False).splitlines():
            m = re.match(r'\s*(0x[0-9a-f]+) "(.*)":', line)
            if m and re.search(name_pattern, m.group(2)):
                found.append(str(int(m.group(1), 16)))
        return found

    def wait_window(self, name=WINDOW_TITLE, timeout=20):
        deadline = time.time() + timeout
        while time.time() < deadline:
            out = self.windows(name)
            if out:
                return out[0]
            if self.program is not None and self.program.poll() is not None:
                raise Failure(f"program exited with {self.program.returncode}:\n{self.stderr_text()}")
            time.sleep(0.05)
        raise Failure(f"no window named {name} within {timeout} s")

    def wait_visible_window(self, name, timeout=30):
        """Id of the first mapped window whose name matches (GTK dialogs keep unmapped twins)."""
        deadline = time.time() + timeout
        while time.time() < deadline:
            out = self.run("xdotool", "search", "--onlyvisible", "--name", name, check_rc=False).split()
            if out:
                return out[0]
            time.sleep(0.1)
        raise Failure(f"no visible window named {name} within {timeout} s")

    def wait_dialog_closed(self, wid, timeout=15):
        deadline = time.time() + timeout
        while time.time() < deadline:
            if wid not in self.run("xdotool", "search", "--onlyvisible", "--name", ".", check_rc=False).split():
                return True
            time.sleep(0.1)
        return False

    def choose_path(self, title, path, attempts=3):
        """Types a full path into the file chooser titled `title` ("打开" or "另存为") and accepts.
        A chooser still loading its folder can drop keys on a busy machine: while it stays open,
        the path is typed again."""
        dialog = self.wait_visible_window(f"^{title}$")
        for _ in range(attempts):
            time.sleep(1.0)  # the chooser maps first and loads its folder after
            self.run("xdotool", "windowfocus", "--sync", dialog, check_rc=False)
            # open: the location entry; save: the name entry already has the focus
            self.run("xdotool", "key", "ctrl+l" if title == "打开" else "ctrl+a")
            time.sleep(0.3)
            self.run("xdotool", "type", "--delay", "20", path)
            time.sleep(0.3)
            self.run("xdotool", "key", "Return")
            if self.wait_dialog_closed(dialog, timeout=10):
                return
        raise Failure(f"dialog {dialog} stayed open")

    def cancel_dialog(self, title):
        dialog = self.wait_visible_window(f"^{title}$")
        self.run("xdotool", "windowfocus", "--sync", dialog, check_rc=False)
        for _ in range(3):  # a key sent while the chooser still loads can be dropped
            self.run("xdotool", "key", "Escape")
            if self.wait_dialog_closed(dialog, timeout=5):
                return
            self.run("xdotool", "windowfocus", "--sync", dialog, check_rc=False)
        raise Failure(f"dialog {dialog} stayed open")

    def wait_no_window(self, name, timeout=10):
        deadline = time.time() + timeout
        while time.time() < deadline:
            if not self.windows(name):
                return
            time.sleep(0.05)
        raise Failure(f"window {name} still open after {timeout} s")

    def wait_log(self, pattern, timeout=10):
        deadline = time.time() + timeout
        while time.time() < deadline:
            m = re.search(pattern, self.stderr_text())
            if m:
                return m
            time.sleep(0.05)
        raise Failure(f"log line /{pattern}/ not seen within {timeout} s")

    def geometry(self, wid):
        out = self.run("xdotool", "getwindowgeometry", "--shell", wid)
        vals = dict(line.split("=", 1) for line in out.split() if "=" in line)
        return int(vals["X"]), int(vals["Y"]), int(vals["WIDTH"]), int(vals["HEIGHT"])

    # ---- input ----
    def click(self, wid, x, y):
        """Left click at client coordinates of the window."""
        self.run("xdotool", "mousemove", "--window", wid, str(x), str(y))
        time.sleep(0.08)
        self.run("xdotool", "click", "1")
        time.sleep(0.25)

    def key(self, wid, *keys):
        self.run("xdotool", "windowfocus", "--sync", wid, check_rc=False)
        for k in keys:
            self.run("xdotool", "key", "--clearmodifiers", k)
            time.sleep(0.1)

    def type_text(self, wid, text):
        self.run("xdotool", "windowfocus", "--sync", wid, check_rc=False)
        self.run("xdotool", "type", "--delay", "80", text)
        time.sleep(0.2)

    # ---- pictures ----
    def screenshot(self, name, wid=None):
        """Grabs the screen (or the window's client area) and keeps it as an artefact."""
        img = ImageGrab.grab(xdisplay=self.display)
        if wid is not None:
            x, y, w, h = self.geometry(wid)
            img = img.crop((x, y, x + w, y + h))
        img = img.convert("RGB")
        img.save(os.path.join(self.artifacts, name + ".png"))
        return img

    def stop(self):
        if self.program is not None and self.program.poll() is None:
            self.program.terminate()
            try:
                self.program.wait(5)
            except subprocess.TimeoutExpired:
                self.program.kill()
                self.program.wait()
        for cleanup in reversed(self.cleanups):
            try:
                cleanup()
            except Exception as e:  # keep tearing down
                print(f"  cleanup failed: {e}")
        if self.xvfb is not None:
            self.xvfb.terminate()
            try:
                self.xvfb.wait(5)
            except subprocess.TimeoutExpired:
                self.xvfb.kill()


class Simulator:
    """The servo simulator on a pseudo-terminal, with its log of every frame it received."""

    def __init__(self, program, artifacts, *args):
        self.path = os.path.join(os.path.dirname(os.path.abspath(program)), "tools", "servo_sim")
        self.log = os.path.join(artifacts, "servo_sim.log")
        open(self.log, "w").close()
        self.proc = subprocess.Popen([self.path, "--log", self.log, *args], stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, text=True)
        self.pty = self.proc.stdout.readline().strip()
        check(self.pty.startswith("/dev/"), f"simulator printed no pty path: {self.pty!r}")

    def lines(self, prefix=""):
        with open(self.log) as f:
            return [line.rstrip("\n") for line in f if line.startswith(prefix)]

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            self.proc.wait(5)


class UsbNamespace:
    """A private mount namespace (root only) in which a pseudo-terminal can be plugged in and
    pulled out as the USB adapter /dev/ttyUSB0 (tools/fake_usb_adapter.sh)."""

    def __init__(self):
        self.holder = subprocess.Popen(["unshare", "-m", "--propagation", "private", "sleep", "3600"])
        time.sleep(0.1)
        check(self.holder.poll() is None, "unshare failed (needs root)")

    def command(self, *cmd, cwd=None):
        wd = [f"--wd={cwd}"] if cwd else []  # entering the namespace resets the folder to /
        return ["nsenter", "-t", str(self.holder.pid), "-m", *wd, "--", *cmd]

    def run(self, *cmd):
        res = subprocess.run(self.command(*cmd), capture_output=True, text=True, timeout=30)
        if res.returncode != 0:
            raise Failure(f"{' '.join(cmd)} failed in the namespace: {res.stderr.strip()}")
        return res.stdout

    def plug(self, pty):
        self.run(FAKE_USB, "plug", pty)

    def unplug(self):
        self.run(FAKE_USB, "unplug")

    def stop(self):
        self.holder.kill()
        self.holder.wait()


def start_with_simulator(s, program, family="block", plug=True):
    """The program in a private mount namespace with the simulator ready as a USB adapter
    (plugged in, and its port opened, when `plug`); returns (namespace, simulator, window)."""
    ns = UsbNamespace()
    sim = Simulator(program, s.artifacts, "--family", family)
    s.cleanups += [ns.stop, sim.stop]
    s.start_program(program, namespace=ns)
    wid = s.wait_window()
    s.wait_log(r"first frame shown")
    if plug:
        ns.plug(sim.pty)
        s.wait_log(r"Open_Device successfully")
        time.sleep(0.3)
    return ns, sim, wid


def main():
    """Entry of the tests that need the namespace: skipped (exit 77) without root."""
    args = parse_args()
    require_tools()
    if not namespaces_available():
        print("SKIP: needs root and mount namespaces (unshare, nsenter)")
        sys.exit(SKIP)
    return args


def namespaces_available():
    """True when this process may make mount namespaces (root, unshare and nsenter present)."""
    if os.geteuid() != 0 or shutil.which("unshare") is None or shutil.which("nsenter") is None:
        return False
    return subprocess.run(["unshare", "-m", "true"], capture_output=True).returncode == 0


def pixel(img, x, y):
    return img.getpixel((x, y))[:3]


def color_near(rgb, expected, tolerance=24):
    return all(abs(a - b) <= tolerance for a, b in zip(rgb, expected))


def wait_for(predicate, what, timeout=20):
    deadline = time.time() + timeout
    while time.time() < deadline:
        if predicate():
            return
        time.sleep(0.1)
    raise Failure(f"timed out waiting for {what}")


def region_differs(a, b, box, threshold=8):
    """True when some pixel of box differs by more than threshold in a channel."""
    diff = ImageChops.difference(a.crop(box), b.crop(box))
    return max(hi for lo, hi in diff.getextrema()) > threshold


REFERENCES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "reference")


def compare_with_reference(img, name, update=False, max_mean=1.0, max_changed=0.01):
    """Compares a screenshot with tests/e2e/reference/<name>.png: the mean difference per
    channel value and the share of pixels that differ visibly must stay small (a blinking
    cursor or a font hinting change passes, a moved or missing widget does not)."""
    path = os.path.join(REFERENCES, name + ".png")
    if update:
        os.makedirs(REFERENCES, exist_ok=True)
        img.save(path)
        return
    check(os.path.exists(path), f"no reference picture {path} (run with --update-references)")
    ref = Image.open(path).convert("RGB")
    check(ref.size == img.size, f"size {img.size} differs from the reference {ref.size}")
    mean = mean_abs_diff(img, ref)
    diff = ImageChops.difference(img.convert("RGB"), ref).convert("L").point(lambda v: 255 if v > 40 else 0)
    changed = diff.histogram()[255] / (img.size[0] * img.size[1])
    check(mean <= max_mean and changed <= max_changed,
          f"{name} differs from its reference: mean {mean:.2f}, {changed * 100:.2f} % of pixels changed")


def mean_abs_diff(a, b):
    """Mean absolute difference per channel value between two pictures of the same size."""
    diff = ImageChops.difference(a.convert("RGB"), b.convert("RGB"))
    hist = diff.histogram()
    total = sum(i * n for i, n in enumerate(hist[:256])) + sum(i * n for i, n in enumerate(hist[256:512])) + \
        sum(i * n for i, n in enumerate(hist[512:]))
    return total / (a.size[0] * a.size[1] * 3)


def run_tests(tests, artifacts):
    """Runs each test function with a fresh session; prints a summary; returns the exit code."""
    failures = 0
    for test in tests:
        session = X11Session(artifacts, test.__name__)
        t0 = time.time()
        try:
            session.start_x()
            test(session)
            print(f"[ OK ] {test.__name__} ({time.time() - t0:.1f} s)")
        except Exception as e:  # report every failure kind, keep going
            failures += 1
            print(f"[FAIL] {test.__name__}: {e}")
            try:
                session.screenshot("failure")
            except Exception:
                pass
            print(session.stderr_text()[-3000:] if os.path.exists(session.stderr_path) else "")
        finally:
            session.stop()
    print(f"{len(tests) - failures}/{len(tests)} passed; artefacts in {artifacts}")
    return 1 if failures else 0


def require_tools():
    missing = [t for t in ("Xvfb", "xdotool", "xprop", "xwininfo") if shutil.which(t) is None]
    if missing:
        print("missing tools: " + ", ".join(missing))
        sys.exit(1)
