"""A private X server with the real program in it, driven as a user would (xdotool), with screenshots kept as test
artefacts; shared by the end-to-end tests. Needs Xvfb, xdotool, x11-utils and Debian's python3-pil."""

import argparse
import contextlib
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

from PIL import Image, ImageChops, ImageGrab, ImageStat

SCREEN_W, SCREEN_H = 1280, 1024
WINDOW_TITLE = "QRX_SERVO_TOOL_V_1_0_7"
HERE = os.path.dirname(os.path.abspath(__file__))
FAKE_USB = os.path.join(HERE, "..", "..", "tools", "fake_usb_adapter.sh")
REFERENCES = os.path.join(HERE, "reference")

# Client coordinates of the widgets (see ui/screen.cpp and params/panel_lvgl.cpp).
READ_INFO, GAIN_FIELD_END = (819, 63), (610, 306)
READ_PARAMS, WRITE_PARAMS, IMPORT, SAVE = (830, 257), (830, 332), (830, 406), (830, 481)
PROMPT_CLOSE = (628, 278)  # close button of the prompt box, centred in the window
PORT_BUTTON_SAMPLE = (420, 236)  # the port button's left part, clear of its caption and of the About box
PORT_OPEN_COLOR = (0xE7, 0xC1, 0x29)
ABOUT = "^关于 QRX_SERVO_TOOL_V_1_0_6$"  # the About box's caption

class Failure(Exception):
    pass

def check(cond, message):
    if not cond:
        raise Failure(message)

def wait_for(predicate, what, timeout=20, interval=0.1):
    """The first true value of predicate(); after timeout seconds a failure, or None when `what` is None."""
    deadline = time.time() + timeout
    while time.time() < deadline:
        value = predicate()
        if value:
            return value
        time.sleep(interval)
    check(what is None, f"timed out waiting for {what}")

class X11Session:
    """Xvfb on a free display; the program started from its own folder (where its picture is)."""
    launcher = []  # what the program is started through

    def __init__(self, artifacts, name):
        self.artifacts = os.path.join(artifacts, name)
        shutil.rmtree(self.artifacts, ignore_errors=True)  # nothing left from an earlier run
        os.makedirs(self.artifacts)
        self.xvfb = self.program = self.display = None
        self.stderr_path = os.path.join(self.artifacts, "program-stderr.log")
        self.cleanups = []  # called after the program has stopped, last first

    def __fspath__(self):  # a session stands for its artefacts folder, where a test keeps its files
        return self.artifacts

    def start_x(self):
        r, w = os.pipe()
        self.xvfb = subprocess.Popen(
            ["Xvfb", "-displayfd", str(w), "-screen", "0", f"{SCREEN_W}x{SCREEN_H}x24", "-nolisten", "tcp", "-noreset"],
            pass_fds=(w,), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(w)
        with os.fdopen(r) as f:
            number = f.readline().strip()
        check(number, "Xvfb did not report a display number")
        self.display = ":" + number

    def env(self):
        # GTK's file chooser without a desktop session (no accessibility bus, portal or dconf); a quiet wine.
        return {"WINEDEBUG": "-all", **os.environ, "DISPLAY": self.display, "NO_AT_BRIDGE": "1", "GIO_USE_VFS": "local",
                "GTK_USE_PORTAL": "0", "DBUS_SESSION_BUS_ADDRESS": "disabled:", "GSETTINGS_BACKEND": "memory",
                "LANG": "C.UTF-8"}

    def run(self, *cmd, check_rc=True, timeout=30):
        res = subprocess.run(list(cmd), env=self.env(), capture_output=True, text=True, timeout=timeout)
        if check_rc and res.returncode != 0:
            raise Failure(f"{' '.join(cmd)} failed: {res.stderr.strip()}")
        return res.stdout

    def start_program(self, program, cwd=None, namespace=None):
        """Starts the program from its folder; inside `namespace` (a UsbNamespace) if given."""
        cmd = [*self.launcher, os.path.abspath(program)]
        cwd = cwd or os.path.dirname(cmd[-1])
        self.program = subprocess.Popen(namespace.command(*cmd, cwd=cwd) if namespace else cmd, cwd=cwd,
                                        env=self.env(), stdout=subprocess.DEVNULL, stderr=open(self.stderr_path, "wb"))

    def start_and_wait(self, program, timeout=20, namespace=None):
        """Starts the program; returns its window once it shows its first frame."""
        self.start_program(program, namespace=namespace)
        wid = self.wait_window(timeout=timeout)
        self.wait_log(r"first frame shown", timeout=timeout)
        return wid

    def temp_folder(self, prefix):
        folder = tempfile.mkdtemp(prefix=prefix)
        self.cleanups.append(lambda: shutil.rmtree(folder, ignore_errors=True))
        return folder

    def stderr_text(self):
        with open(self.stderr_path, "rb") as f:
            return f.read().decode("utf-8", "replace")

    def windows(self, name_pattern):
        """Ids of the windows whose name matches (xwininfo sees what xdotool's search misses: SDL's message boxes)."""
        lines = self.run("xwininfo", "-root", "-tree", check_rc=False).splitlines()
        found = [re.match(r'\s*(0x[0-9a-f]+) "(.*)":', line) for line in lines]
        return [str(int(m.group(1), 16)) for m in found if m and re.search(name_pattern, m.group(2))]

    def visible_windows(self, name="."):
        """Ids of the mapped windows whose name matches (GTK dialogs keep unmapped twins)."""
        return self.run("xdotool", "search", "--onlyvisible", "--name", name, check_rc=False).split()

    def wait_window(self, name=WINDOW_TITLE, timeout=20, visible=False):
        def found():
            check(self.program is None or self.program.poll() is None,
                  f"program exited with {self.program.returncode}:\n{self.stderr_text()}")
            return (self.visible_windows if visible else self.windows)(name)
        return wait_for(found, f"a window named {name}", timeout, 0.05)[0]

    def choose_path(self, title, path=None):
        """Types a full path into the chooser titled `title` (a pattern) and accepts, or cancels it when path is None.
        A chooser still loading its folder can drop keys on a busy machine: while it stays open, any box it raised
        over a mangled path is closed and the keys go again, over whatever the last try left in its entry."""
        dialog = self.wait_window(f"^{title}$", 30, visible=True)
        shown = lambda: self.run("xdotool", "search", "--onlyvisible", "--class", ".", check_rc=False).split()
        before = shown()
        for _ in range(6):
            time.sleep(1.0 if path else 0.3)  # the chooser maps first and loads its folder after
            if dialog not in self.visible_windows():
                return  # a slow chooser took the last try's keys after all
            for box in set(shown()) - set(before):
                self.run("xdotool", "windowfocus", "--sync", box, "key", "Return", check_rc=False)
            self.run("xdotool", "windowfocus", "--sync", dialog, check_rc=False)
            if path:  # open: the location entry; save: the name entry already has the focus
                self.run("xdotool", "key", *(["ctrl+l"] if title == "打开" else []), "ctrl+a")
                time.sleep(0.3)
                self.run("xdotool", "type", "--delay", "20", path)
                time.sleep(0.3)
            self.run("xdotool", "key", "Return" if path else "Escape")
            if wait_for(lambda: dialog not in self.visible_windows(), None, 15):
                return
        raise Failure(f"dialog {dialog} stayed open")

    def wait_no_window(self, name, timeout=10):
        wait_for(lambda: not self.windows(name), f"the window {name} to close", timeout, 0.05)

    def wait_log(self, pattern, timeout=10):
        return wait_for(lambda: re.search(pattern, self.stderr_text()), f"/{pattern}/ on stderr", timeout, 0.05)

    def wait_prompt(self, wid, text, timeout=15):
        """Waits until the user was told `text` (the program logs each prompt), then closes that box."""
        prompts = lambda: [line[9:] for line in self.stderr_text().splitlines() if line.startswith("[Prompt] ")]
        wait_for(lambda: text in prompts(), f"the prompt {text!r} (prompts so far: {prompts()})", timeout)
        time.sleep(0.2)
        self.click(wid, *PROMPT_CLOSE)

    def geometry(self, wid):
        out = self.run("xdotool", "getwindowgeometry", "--shell", wid)
        vals = dict(line.split("=", 1) for line in out.split() if "=" in line)
        return int(vals["X"]), int(vals["Y"]), int(vals["WIDTH"]), int(vals["HEIGHT"])

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

    def replace_end(self, wid, field_end, erase, text):
        """Clicks at the end of a field, erases `erase` characters and types `text`."""
        self.click(wid, *field_end)
        self.key(wid, *(["BackSpace"] * erase))
        self.run("xdotool", "type", "--delay", "80", text)
        time.sleep(0.2)

    def screenshot(self, name, wid=None):
        """Grabs the screen (or the window's client area) and keeps it as an artefact."""
        img = ImageGrab.grab(xdisplay=self.display).convert("RGB")
        if wid is not None:
            x, y, w, h = self.geometry(wid)
            img = img.crop((x, y, x + w, y + h))
        img.save(os.path.join(self.artifacts, name + ".png"))
        return img

    def stop(self):
        end_process(self.program)
        for cleanup in reversed(self.cleanups):
            try:
                cleanup()
            except Exception as e:  # keep tearing down
                print(f"  cleanup failed: {e}")
        end_process(self.xvfb)

def end_process(proc):
    if proc is not None and proc.poll() is None:
        proc.terminate()
        try:
            proc.wait(5)
        except subprocess.TimeoutExpired:
            proc.kill()
            proc.wait()

class Simulator:
    """The servo simulator on a pseudo-terminal, with its log of every frame it received."""

    def __init__(self, program, artifacts, *args):
        path = os.path.join(os.path.dirname(os.path.abspath(program)), "tools", "servo_sim")
        self.log = os.path.join(artifacts, "servo_sim.log")
        open(self.log, "w").close()
        # Ahead of other builds when allowed (nice goes on without): it stands in for an adapter, whose echo comes
        # at once, so the echo must not come after the tool's next request.
        self.proc = subprocess.Popen(["nice", "-n", "-10", path, "--log", self.log, *args], stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, text=True)
        self.pty = self.proc.stdout.readline().strip()
        check(self.pty.startswith("/dev/"), f"simulator printed no pty path: {self.pty!r}")

    def lines(self, prefix=""):
        with open(self.log) as f:
            return [line.rstrip("\n") for line in f if line.startswith(prefix)]

    def stop(self):
        end_process(self.proc)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

class UsbNamespace:
    """A private mount namespace (root only) where a pseudo-terminal comes and goes as the adapter /dev/ttyUSB0."""

    def __init__(self):
        self.holder = subprocess.Popen(["unshare", "-m", "--propagation", "private", "sleep", "3600"])
        time.sleep(0.1)
        check(self.holder.poll() is None, "unshare failed (needs root)")

    def command(self, *cmd, cwd=None):
        wd = [f"--wd={cwd}"] if cwd else []  # entering the namespace resets the folder to /
        return ["nsenter", "-t", str(self.holder.pid), "-m", *wd, "--", *cmd]

    def plug(self, pty=None):
        """Plugs the pseudo-terminal in as the adapter; without one, pulls the adapter out."""
        cmd = [FAKE_USB, "plug", pty] if pty else [FAKE_USB, "unplug"]
        res = subprocess.run(self.command(*cmd), capture_output=True, text=True, timeout=30)
        check(res.returncode == 0, f"{' '.join(cmd)} failed in the namespace: {res.stderr.strip()}")

    def unplug(self):
        self.plug(None)

    def stop(self):
        end_process(self.holder)

def start_with_simulator(s, program, family="block", plug=True):
    """(namespace, simulator, window): the program in a namespace, the simulator its adapter (opened when `plug`)."""
    ns = UsbNamespace()
    sim = Simulator(program, s.artifacts, "--family", family)
    s.cleanups += [ns.stop, sim.stop]
    wid = s.start_and_wait(program, namespace=ns)
    if plug:
        ns.plug(sim.pty)
        s.wait_log(r"Open_Device successfully")
        time.sleep(0.3)
    return ns, sim, wid

def register_trade(s, sim, wid):
    """A register-family servo: the information read times out (returns its seconds), the parameters are read and,
    with the gain edited on screen, written register by register."""
    t0 = time.time()
    s.click(wid, *READ_INFO)
    s.wait_prompt(wid, "错误: 舵机信息读取超时!")
    timed_out = time.time() - t0
    s.click(wid, *READ_PARAMS)
    s.wait_prompt(wid, "提示: 读取参数成功!")
    reads = [line.split()[5] for line in sim.lines("RX AF FA 00 0A")]
    check(reads == ["38", "3D", "3F", "50", "51", "52", "53", "54"], f"read requests {reads}")
    s.replace_end(wid, GAIN_FIELD_END, 3, "70")
    s.click(wid, *WRITE_PARAMS)
    s.wait_prompt(wid, "提示: 写入参数成功!")
    frames = [line.split()[1:] for line in sim.lines("RX AF FA 00 0A")][8:]
    codes = [f[4] for f in frames]
    check(codes == ["01", "05", "12", "18", "40", "41", "42", "43", "44", "45", "48", "46"], f"write codes {codes}")
    check(frames[0][5:9] == ["00", "46", "00", "00"], f"KP frame {frames[0]}")  # 70, changed on screen
    check(frames[2][5:9] == ["00", "50", "0B", "B8"], f"OD/OT frame {frames[2]}")  # unchanged: from the cache
    return timed_out

def missing_picture_quits(s, program, timeout=20, visible=False):
    """Started from a folder without its picture, the program shows a box and quits when it is closed."""
    s.start_program(program, cwd=s.temp_folder("servo-nopic-"))
    box = s.wait_window("^Error$", timeout, visible)
    time.sleep(0.5)
    s.screenshot("missing-picture-box")
    s.key(box, "Return")
    rc = s.program.wait(timeout)
    check(rc == 0, f"exit code {rc}")

def namespaces_available():
    """True when this process may make mount namespaces (root, unshare and nsenter present)."""
    if os.geteuid() != 0 or shutil.which("unshare") is None or shutil.which("nsenter") is None:
        return False
    return subprocess.run(["unshare", "-m", "true"], capture_output=True).returncode == 0

def skip_without_namespaces():
    if not namespaces_available():
        print("SKIP: needs root and mount namespaces (unshare, nsenter)")
        sys.exit(77)  # what ctest reports as "skipped"

def port_button_is(img, colour, tolerance=24):
    return all(abs(a - b) <= tolerance for a, b in zip(img.getpixel(PORT_BUTTON_SAMPLE), colour))

def compare_with_reference(img, name, update=False, max_mean=1.0, max_changed=0.01):
    """Against reference/<name>.png: a blinking cursor or a hinting change passes, a moved or missing widget not."""
    path = os.path.join(REFERENCES, name + ".png")
    if update:
        os.makedirs(REFERENCES, exist_ok=True)
        img.save(path)
        return
    check(os.path.exists(path), f"no reference picture {path} (run with --update-references)")
    ref = Image.open(path).convert("RGB")
    check(ref.size == img.size, f"size {img.size} differs from the reference {ref.size}")
    diff = ImageChops.difference(img.convert("RGB"), ref)
    mean = sum(ImageStat.Stat(diff).mean) / 3
    changed = diff.convert("L").point(lambda v: 255 if v > 40 else 0).histogram()[255] / (img.size[0] * img.size[1])
    check(mean <= max_mean and changed <= max_changed,
          f"{name} differs from its reference: mean {mean:.2f}, {changed * 100:.2f} % of pixels changed")

def run_tests(tests, artifacts, session_class=X11Session, x_server=True):
    """Runs each test function with a fresh session; prints a summary; returns the exit code."""
    failures = 0
    for test in tests:
        session = session_class(artifacts, test.__name__)
        t0 = time.time()
        try:
            if x_server:
                session.start_x()
            test(session)
            print(f"[ OK ] {test.__name__} ({time.time() - t0:.1f} s)")
        except Exception as e:  # report every failure kind, keep going
            failures += 1
            print(f"[FAIL] {test.__name__}: {e}")
            with contextlib.suppress(Exception):
                session.screenshot("failure")
            with contextlib.suppress(OSError):
                print(session.stderr_text()[-3000:])
        finally:
            session.stop()
    print(f"{len(tests) - failures}/{len(tests)} passed; artefacts in {artifacts}")
    return 1 if failures else 0

def run_script(script, needs_namespaces=False, *required, session_class=X11Session):
    """Runs the test_* functions of a script's globals in their order, its arguments (--program, --artifacts and
    `required`) in its ARGS; exits with 77 when the tests need mount namespaces and this process may not make them."""
    p = argparse.ArgumentParser()
    for name in ("--program", "--artifacts", *required):
        p.add_argument(name, required=True)
    p.add_argument("--update-references", action="store_true", help="write the compared screenshots as references")
    args = script["ARGS"] = p.parse_args()
    missing = [t for t in ("Xvfb", "xdotool", "xprop", "xwininfo") if shutil.which(t) is None]
    check(not missing, "missing tools: " + ", ".join(missing))
    if needs_namespaces:
        skip_without_namespaces()
    tests = [f for name, f in script.items() if name.startswith("test_")]
    sys.exit(run_tests(tests, args.artifacts, session_class))
