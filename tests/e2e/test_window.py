"""The real program in a real X server: its window, the About box, the missing picture, a quit with a dialog open."""

import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from x11_session import (ABOUT, IMPORT, PORT_OPEN_COLOR, SCREEN_H, SCREEN_W, WINDOW_TITLE, check,
                         compare_with_reference, missing_picture_quits, namespaces_available, port_button_is,
                         run_script, start_with_simulator, wait_for)

ARGS = None

def test_window_is_fixed_970_by_660_titled_and_centred(s):
    wid = s.start_and_wait(ARGS.program)
    x, y, w, h = s.geometry(wid)
    check((w, h) == (970, 660), f"client size {w}x{h}")
    check((x, y) == ((SCREEN_W - 970) // 2, (SCREEN_H - 660) // 2), f"position {x},{y} is not centred")
    check(s.run("xdotool", "getwindowname", wid).strip() == WINDOW_TITLE, "title")
    check(wid in s.run("xdotool", "search", "--class", "QRXSERVOTOOLV106").split(), "X11 class hint")
    hints = s.run("xprop", "-id", wid, "WM_NORMAL_HINTS")
    check("minimum size: 970 by 660" in hints and "maximum size: 970 by 660" in hints,
          f"window can be resized or maximised:\n{hints}")
    time.sleep(0.5)
    compare_with_reference(s.screenshot("main-screen", wid), "main-screen", ARGS.update_references)

def test_alt_slash_opens_the_about_box_escape_closes_it_and_the_program_runs_behind_it(s):
    """Behind the About box an adapter plugged in meanwhile is opened, and the screen shows it (root only)."""
    ns, sim, wid = start_with_simulator(s, ARGS.program, plug=False) if namespaces_available() else (
        None, None, s.start_and_wait(ARGS.program))
    s.key(wid, "alt+slash")
    about = s.wait_window(ABOUT)
    s.screenshot("about-box")
    if ns:
        ns.plug(sim.pty)
        wait_for(lambda: port_button_is(s.screenshot("behind-the-about-box", wid), PORT_OPEN_COLOR),
                 "the port button to turn #E7C129 behind the About box")
        check(s.windows(ABOUT), "the About box closed by itself")
    s.key(about, "Escape")  # to the focus: the box is gone before a sent key's release
    s.wait_no_window(ABOUT)
    check(s.program.poll() is None, "the program ended with the About box")

def test_missing_picture_shows_the_box_and_quits(s):
    missing_picture_quits(s, ARGS.program)

def test_closing_the_window_while_a_file_dialog_is_open_ends_the_program(s):
    wid = s.start_and_wait(ARGS.program)
    s.click(wid, *IMPORT)
    s.wait_window("^打开$", 30, visible=True)
    s.program.terminate()  # the program takes the termination request as a window close
    rc = s.program.wait(10)
    check(rc == 0, f"exit code {rc}")

if __name__ == "__main__":
    run_script(globals())
