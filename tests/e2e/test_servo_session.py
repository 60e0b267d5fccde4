"""A user's session with a register-family servo plugged in as a USB adapter (private mount namespace, root only):
checks on what the servo received (the simulator's log), the file saved and the prompts shown (the program's log)."""

import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from x11_session import SAVE, check, register_trade, run_script, start_with_simulator, wait_for

ARGS = None

def test_register_servo_times_out_on_information_and_trades_parameters_register_by_register(s):
    _, sim, wid = start_with_simulator(s, ARGS.program, "register")
    check(register_trade(s, sim, wid) < 2.0, "the time-out came late")
    s.screenshot("register-parameters-written", wid)
    path = os.path.join(s.temp_folder("servo e2e "), "jvn.txt")
    s.click(wid, *SAVE)
    s.choose_path("另存为", path)
    wait_for(lambda: os.path.exists(path) and os.path.getsize(path) > 0, "the saved file")
    time.sleep(0.3)
    text = open(path).read()
    want = "KP:70\nKD:50\nLP:4000\nMP:8000\nOD:80\nOT:3000\nMD:8000\nDZ:3\nLA:596\nMA:3500\nCA:2048\nLD:0\nRS:1\nLS:1\n"
    check(text == want, f"JVN file differs:\n{text}")

if __name__ == "__main__":
    run_script(globals(), True)
