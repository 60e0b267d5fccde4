"""The real program with a USB adapter that comes and goes: the servo simulator's pseudo-terminal
is plugged in and pulled out as /dev/ttyUSB0 in a private mount namespace (root only), and the
program finds, opens and closes it by itself."""

import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from x11_session import check, color_near, main, pixel, region_differs, run_tests, start_with_simulator

ARGS = None

# Client coordinates (see ui/screen.cpp): the port button's left part, clear of its caption, and
# the area where prompt boxes appear (centred, 350 x 150).
PORT_BUTTON_SAMPLE = (420, 236)
PROMPT_AREA = (485 - 175, 330 - 75, 485 + 175, 330 + 75)
PORT_OPEN_COLOR = (0xE7, 0xC1, 0x29)
WHITE = (0xFF, 0xFF, 0xFF)


def test_plugging_in_opens_the_port_and_pulling_out_closes_it(s):
    ns, sim, wid = start_with_simulator(s, ARGS.program, plug=False)
    time.sleep(0.5)
    idle = s.screenshot("1-no-adapter", wid)
    check(color_near(pixel(idle, *PORT_BUTTON_SAMPLE), WHITE), "port button should be white while closed")

    t0 = time.time()
    ns.plug(sim.pty)
    s.wait_log(r"Open_Device successfully")
    opened_after = time.time() - t0
    print(f"  port opened {opened_after * 1000:.0f} ms after the adapter appeared")
    check(opened_after >= 0.09, "the port must open only after the 100 ms debounce")
    time.sleep(0.4)
    opened = s.screenshot("2-adapter-plugged-in", wid)
    check(color_near(pixel(opened, *PORT_BUTTON_SAMPLE), PORT_OPEN_COLOR),
          f"port button should turn #E7C129 once open, is {pixel(opened, *PORT_BUTTON_SAMPLE)}")

    ns.unplug()
    s.wait_log(r"检测设备断开")
    time.sleep(0.4)
    removed = s.screenshot("3-adapter-pulled-out", wid)
    check(color_near(pixel(removed, *PORT_BUTTON_SAMPLE), WHITE), "port button should be white again")
    check(region_differs(opened, removed, PROMPT_AREA), "no 'Device removed' notice appeared")
    check("[SerialClose] Exiting SerialClose" in s.stderr_text(), "the port was not closed")

    ns.plug(sim.pty)
    s.wait_log(r"Open_Device successfully.*\n(.*\n)*.*Open_Device successfully")
    time.sleep(0.4)
    back = s.screenshot("4-adapter-plugged-in-again", wid)
    check(color_near(pixel(back, *PORT_BUTTON_SAMPLE), PORT_OPEN_COLOR), "port did not reopen")
    check(not region_differs(opened, back, PROMPT_AREA), "the removal notice should close on plug-in")


def test_the_port_button_closes_and_opens_the_adapter_and_the_program_ends_with_it_open(s):
    ns, sim, wid = start_with_simulator(s, ARGS.program)
    s.click(wid, *PORT_BUTTON_SAMPLE)
    s.wait_log(r"Close_Device successfully")
    time.sleep(0.3)
    closed = s.screenshot("closed-by-hand", wid)
    check(color_near(pixel(closed, *PORT_BUTTON_SAMPLE), WHITE), "button should be white after closing")
    time.sleep(0.5)  # the monitor must not reopen a port closed by hand
    check(s.stderr_text().count("Open_Device successfully") == 1, "the port reopened by itself")
    s.click(wid, *PORT_BUTTON_SAMPLE)
    s.wait_log(r"openSerial_event_handler\(\):  Open_Device successfully")
    time.sleep(0.3)
    check(color_near(pixel(s.screenshot("opened-by-hand", wid), *PORT_BUTTON_SAMPLE), PORT_OPEN_COLOR),
          "button should be yellow after opening")
    s.program.terminate()  # a window close with the port still open
    check(s.program.wait(10) == 0, "the program did not end cleanly with its port open")


if __name__ == "__main__":
    ARGS = main()
    sys.exit(run_tests([
        test_plugging_in_opens_the_port_and_pulling_out_closes_it,
        test_the_port_button_closes_and_opens_the_adapter_and_the_program_ends_with_it_open,
    ], ARGS.artifacts))
