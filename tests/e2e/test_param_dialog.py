#!/usr/bin/env python3
"""Import and save parameters through the real GTK file dialogs of the running program.

Starts the program on its own Xvfb display, clicks "从PC导入参数", types the path of a
ConfigBuffer file into the file chooser, then clicks "保存参数到PC", types a new path, and
checks that the saved file equals the imported one byte for byte (the file is one that
repacking leaves unchanged) and that the panel showed the file's values.
"""
import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import time

WINDOW_TITLE = "QRX_SERVO_TOOL_V_1_0_7"
IMPORT_BUTTON = (830, 406)  # centre of action button 2 in the window
SAVE_BUTTON = (830, 481)    # centre of action button 3

# Block bytes 0..34 chosen so that unpacking and packing again gives the same bytes.
BLOCK = [100, 20, 15, 160, 5, 220, 3, 232, 12, 0, 8, 0, 1, 44, 4, 0x21, 0x00, 0, 200, 0x73, 0x05, 0xE4,
         120, 10, 0x00, 0x50, 0x25, 0x31, 0x13, 12, 0, 0, 0x1F, 72, 0x13]


def configbuffer_text(block):
    return "".join("ConfigBuffer[%d] = %d;\n" % (k, v) for k, v in enumerate([64] + block))


def free_display():
    for n in range(90, 200):
        if not os.path.exists("/tmp/.X%d-lock" % n) and not os.path.exists("/tmp/.X11-unix/X%d" % n):
            return n
    raise RuntimeError("no free X display number")


def xdotool(env, *args, check=True):
    res = subprocess.run(["xdotool"] + list(args), env=env, capture_output=True, text=True, timeout=60)
    if check and res.returncode != 0:
        raise RuntimeError("xdotool %s failed: %s" % (" ".join(args), res.stderr))
    return res.stdout.strip()


def wait_window(env, name, timeout=30.0):
    """Id of the first visible window whose name matches, waiting for it."""
    end = time.time() + timeout
    while time.time() < end:
        out = xdotool(env, "search", "--onlyvisible", "--name", name, check=False)
        if out:
            return out.splitlines()[0]
        time.sleep(0.2)
    raise RuntimeError("window %r did not appear" % name)


def wait_gone(env, window, timeout=15.0):
    end = time.time() + timeout
    while time.time() < end:
        res = subprocess.run(["xdotool", "getwindowname", window], env=env, capture_output=True)
        visible = xdotool(env, "search", "--onlyvisible", "--name", ".", check=False).split()
        if res.returncode != 0 or window not in visible:
            return
        time.sleep(0.2)
    raise RuntimeError("dialog window %s stayed open" % window)


def click(env, window, pos):
    xdotool(env, "mousemove", "--window", window, str(pos[0]), str(pos[1]))
    time.sleep(0.2)
    xdotool(env, "click", "1")


def choose_path(env, title, path):
    """Types a full path into the file chooser with the given title and accepts it."""
    dialog = wait_window(env, "^%s$" % title)
    time.sleep(1.0)  # let the chooser finish mapping and loading its folder
    xdotool(env, "windowfocus", "--sync", dialog)
    if title == "打开":
        xdotool(env, "key", "ctrl+l")  # the location entry of the open dialog
        time.sleep(0.3)
    else:
        xdotool(env, "key", "ctrl+a")  # the name entry of the save dialog has the focus
    xdotool(env, "type", "--delay", "20", path)
    time.sleep(0.3)
    xdotool(env, "key", "Return")
    wait_gone(env, dialog)


def wait_for(predicate, timeout, what):
    end = time.time() + timeout
    while time.time() < end:
        if predicate():
            return
        time.sleep(0.2)
    raise AssertionError("timed out waiting for " + what)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--program", required=True)
    ap.add_argument("--artifacts", required=True)
    args = ap.parse_args()
    artifacts = os.path.join(args.artifacts, "param_dialog")
    os.makedirs(artifacts, exist_ok=True)

    work = tempfile.mkdtemp(prefix="servo e2e 参数 ")  # spaces and CJK in every path
    source = os.path.join(work, "in put.txt")
    saved = os.path.join(work, "saved copy.txt")
    with open(source, "w", newline="\n") as f:
        f.write(configbuffer_text(BLOCK))

    display = free_display()
    env = dict(os.environ)
    env.update({"DISPLAY": ":%d" % display, "NO_AT_BRIDGE": "1", "GIO_USE_VFS": "local",
                "GTK_USE_PORTAL": "0", "DBUS_SESSION_BUS_ADDRESS": "disabled:", "GSETTINGS_BACKEND": "memory",
                "LANG": "C.UTF-8"})
    xvfb = subprocess.Popen(["Xvfb", ":%d" % display, "-screen", "0", "1280x1024x24", "-nolisten", "tcp"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    log_path = os.path.join(artifacts, "program.log")
    program = None
    try:
        wait_for(lambda: os.path.exists("/tmp/.X11-unix/X%d" % display), 15, "Xvfb")
        with open(log_path, "wb") as log:
            program = subprocess.Popen([os.path.abspath(args.program)], cwd=os.path.dirname(os.path.abspath(args.program)),
                                       env=env, stdout=log, stderr=subprocess.STDOUT)
        main_window = wait_window(env, WINDOW_TITLE)
        time.sleep(1.0)

        def log_text():
            with open(log_path, "rb") as f:
                return f.read().decode("utf-8", "replace")

        started = time.time()
        click(env, main_window, IMPORT_BUTTON)
        choose_path(env, "打开", source)
        wait_for(lambda: "par[22] = 120" in log_text(), 20, "the imported values on the panel")
        print("import through the dialog took %.1f s" % (time.time() - started))
        text = log_text()
        assert "par[0] = 100" in text and "par[8] = 4" in text, "panel values missing from the log"

        click(env, main_window, SAVE_BUTTON)
        choose_path(env, "另存为", saved)
        wait_for(lambda: os.path.exists(saved) and os.path.getsize(saved) >= 36 * 20, 20, "the saved file")
        time.sleep(0.5)
        with open(source, "rb") as a, open(saved, "rb") as b:
            want, got = a.read(), b.read()
        if want != got:
            shutil.copy(saved, os.path.join(artifacts, "saved.txt"))
            raise AssertionError("saved file differs from the imported one")

        assert program.poll() is None, "the program ended during the test"
        # The main window still answers: a second save without a dialog answer is cancelled cleanly.
        click(env, main_window, SAVE_BUTTON)
        dialog = wait_window(env, "^另存为$")
        xdotool(env, "windowfocus", "--sync", dialog)
        xdotool(env, "key", "Escape")
        wait_gone(env, dialog)
        time.sleep(0.5)
        assert program.poll() is None, "the program ended after a cancelled dialog"
        print("PASS")
        return 0
    finally:
        if program is not None and program.poll() is None:
            program.terminate()
            try:
                program.wait(10)
            except subprocess.TimeoutExpired:
                program.kill()
        xvfb.terminate()
        try:
            xvfb.wait(10)
        except subprocess.TimeoutExpired:
            xvfb.kill()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
