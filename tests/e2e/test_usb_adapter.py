"""A USB adapter that comes and goes (the simulator's pseudo-terminal as /dev/ttyUSB0 in a private mount namespace,
root only): the program finds, opens and closes it by itself, or by its port button."""

import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from PIL import ImageChops
from x11_session import PORT_BUTTON_SAMPLE, PORT_OPEN_COLOR, check, port_button_is, run_script, start_with_simulator

ARGS = None
PROMPT_AREA = (485 - 175, 330 - 75, 485 + 175, 330 + 75)  # where prompt boxes appear (centred, 350 x 150)
WHITE = (0xFF, 0xFF, 0xFF)

def prompt_area_differs(a, b):
    """True when some pixel of the prompt area differs by more than 8 in a channel."""
    return max(hi for _, hi in ImageChops.difference(a.crop(PROMPT_AREA), b.crop(PROMPT_AREA)).getextrema()) > 8

def test_the_adapter_opens_when_plugged_closes_when_pulled_and_the_button_closes_it_for_good(s):
    ns, sim, wid = start_with_simulator(s, ARGS.program, plug=False)

    def shot(name, colour, what):
        time.sleep(0.4)  # state changes fade in
        img = s.screenshot(name, wid)
        check(port_button_is(img, colour), f"{what}: {img.getpixel(PORT_BUTTON_SAMPLE)}")
        return img
    shot("1-no-adapter", WHITE, "the port button should be white while closed")
    t0 = time.time()
    ns.plug(sim.pty)
    s.wait_log(r"Open_Device successfully")
    check(time.time() - t0 >= 0.09, "the port must open only after the 100 ms debounce")
    opened = shot("2-adapter-plugged-in", PORT_OPEN_COLOR, "the port button should turn #E7C129 once open")
    ns.unplug()
    s.wait_log(r"检测设备断开")
    removed = shot("3-adapter-pulled-out", WHITE, "the port button should be white again")
    check(prompt_area_differs(opened, removed), "no 'Device removed' notice appeared")
    ns.plug(sim.pty)
    s.wait_log(r"Open_Device successfully.*\n(.*\n)*.*Open_Device successfully")
    back = shot("4-adapter-plugged-in-again", PORT_OPEN_COLOR, "the port did not reopen")
    check(not prompt_area_differs(opened, back), "the removal notice should close on plug-in")
    s.click(wid, *PORT_BUTTON_SAMPLE)
    s.wait_log(r"Close_Device successfully")
    time.sleep(0.5)  # the monitor must not reopen a port closed by hand
    shot("5-closed-by-hand", WHITE, "the port reopened by itself after a close by hand")
    s.click(wid, *PORT_BUTTON_SAMPLE)
    s.wait_log(r"openSerial_event_handler\(\):  Open_Device successfully")
    shot("6-opened-by-hand", PORT_OPEN_COLOR, "the button should be yellow after opening")
    s.program.terminate()  # a window close with the port still open
    check(s.program.wait(10) == 0, "the program did not end cleanly with its port open")

if __name__ == "__main__":
    run_script(globals(), True)
