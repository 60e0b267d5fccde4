"""A user's session with a servo: the real program, the servo simulator plugged in as a USB
adapter (private mount namespace, root only), clicks and typing through xdotool. Every check is
made on what the servo received (the simulator's log), on the files written, and on the prompts
the user was shown (the program records each one in its log)."""

import os
import shutil
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from x11_session import check, main, run_tests, start_with_simulator, wait_for

ARGS = None

# Client coordinates of the widgets (see ui/screen.cpp and params/panel_lvgl.cpp).
READ_INFO = (819, 63)
GAIN_FIELD_END = (610, 306)
READ_PARAMS, WRITE_PARAMS, SAVE = (830, 257), (830, 332), (830, 481)
PROMPT_CLOSE = (628, 278)  # close button of the prompt box, centred in the window

def wait_prompt(s, wid, text):
    """Waits until the user was told `text`, then closes that prompt box again."""
    prompts = lambda: [line[9:] for line in s.stderr_text().splitlines() if line.startswith("[Prompt] ")]
    wait_for(lambda: text in prompts(), f"the prompt {text!r} (prompts so far: {prompts()})", 10)
    time.sleep(0.2)
    s.click(wid, *PROMPT_CLOSE)

def test_register_servo_times_out_on_information_and_trades_parameters_register_by_register(s):
    _, sim, wid = start_with_simulator(s, ARGS.program, "register")
    t0 = time.time()
    s.click(wid, *READ_INFO)
    wait_prompt(s, wid, "错误: 舵机信息读取超时!")
    check(time.time() - t0 < 2.0, "the time-out came late")

    s.click(wid, *READ_PARAMS)
    wait_prompt(s, wid, "提示: 读取参数成功!")
    reads = [line.split()[5] for line in sim.lines("RX AF FA 00 0A")]
    check(reads == ["38", "3D", "3F", "50", "51", "52", "53", "54"], f"read requests {reads}")

    s.click(wid, *GAIN_FIELD_END)
    s.key(wid, *(["BackSpace"] * 3))
    s.type_text(wid, "70")
    s.click(wid, *WRITE_PARAMS)
    wait_prompt(s, wid, "提示: 写入参数成功!")
    frames = [line.split()[1:] for line in sim.lines("RX AF FA 00 0A")][8:]
    codes = [f[4] for f in frames]
    check(codes == ["01", "05", "12", "18", "40", "41", "42", "43", "44", "45", "48", "46"], f"write codes {codes}")
    check(frames[0][5:9] == ["00", "46", "00", "00"], f"KP frame {frames[0]}")  # 70, changed on screen
    check(frames[2][5:9] == ["00", "50", "0B", "B8"], f"OD/OT frame {frames[2]}")  # unchanged: from the cache
    s.screenshot("register-parameters-written", wid)

    folder = tempfile.mkdtemp(prefix="servo e2e ")
    s.cleanups.append(lambda: shutil.rmtree(folder, ignore_errors=True))
    path = os.path.join(folder, "jvn.txt")
    s.click(wid, *SAVE)
    s.choose_path("另存为", path)
    wait_for(lambda: os.path.exists(path) and os.path.getsize(path) > 0, "the saved file")
    time.sleep(0.3)
    text = open(path).read()
    want = "KP:70\nKD:50\nLP:4000\nMP:8000\nOD:80\nOT:3000\nMD:8000\nDZ:3\nLA:596\nMA:3500\nCA:2048\nLD:0\nRS:1\nLS:1\n"
    check(text == want, f"JVN file differs:\n{text}")

if __name__ == "__main__":
    ARGS = main(needs_namespaces=True)
    sys.exit(run_tests([
        test_register_servo_times_out_on_information_and_trades_parameters_register_by_register,
    ], ARGS.artifacts))
