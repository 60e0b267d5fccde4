"""The Windows program under wine on a private X server (wine's X11 driver), driven as a user would (xdotool), with
the servo simulator on a pseudo-terminal linked as COM5 and described to the device-setup service as a USB serial
adapter (the registry keys SetupAPI lists serial ports from), so the program finds and opens it as a real adapter.
Run by tools/test_windows.sh (WINEPREFIX set, the prefix on the X11 driver):
    win_session.py --program build-win/servo_tool.exe --simulator build/tools/servo_sim --artifacts DIR"""

import os
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from x11_session import (ABOUT, GAIN_FIELD_END, READ_INFO, READ_PARAMS, SAVE, WRITE_PARAMS, Simulator, X11Session,
                         check, compare_with_reference, missing_picture_quits, register_trade, run_script, wait_for)

ARGS = None
PORT = "COM5"
ADAPTER = r"USB\VID_0403&PID_6001\E2E0001"
COMPORT_CLASS = "{86e0d1e0-8089-11d0-9ce4-08003e301f73}"
PORTS_SETUP_CLASS = "{4d36e978-e325-11ce-bfc1-08002be10318}"
DEVICE_CLASSES = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\DeviceClasses" + "\\" + COMPORT_CLASS

class WineSession(X11Session):
    """The program started through wine, from its own folder (where its picture is)."""
    launcher = ["wine"]

    def quiet(self, *cmd):
        subprocess.run(list(cmd), env=self.env(), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=120)

    def start_x(self):
        """The X server, then a fresh wine server and services on it (wine's desktop takes the display it starts on;
        services started here keep no test's output open)."""
        super().start_x()
        for cmd in (["wineserver", "-k"], ["wineserver", "-w"], ["wineboot"]):
            self.quiet(*cmd)
        self.cleanups.insert(0, lambda: self.quiet("wineserver", "-k"))

def plug_adapter(s, sim):
    """COM5 -> the simulator's pseudo-terminal, then described to the device-setup service as a USB serial adapter."""
    com5 = os.path.join(os.environ["WINEPREFIX"], "dosdevices", PORT.lower())
    if os.path.lexists(com5):
        os.remove(com5)
    os.symlink(sim.pty, com5)
    s.cleanups.append(lambda: os.path.lexists(com5) and os.remove(com5))
    iface = "##?#" + ADAPTER.replace("\\", "#") + "#" + COMPORT_CLASS
    key, enum = f"[{DEVICE_CLASSES}\\{iface}", r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Enum" + "\\" + ADAPTER
    q = lambda text: '"' + text.replace("\\", "\\\\") + '"'  # a .reg string value
    link = q(iface.replace("##?#", "\\\\?\\", 1))
    sections = ["REGEDIT4", f'[{enum}]\n"ClassGUID"={q(PORTS_SETUP_CLASS)}',
                f'[{enum}\\Device Parameters]\n"PortName"={q(PORT)}', f'{key}]\n"DeviceInstance"={q(ADAPTER)}',
                f'{key}\\#]\n"SymbolicLink"={link}', f'{key}\\#\\Control]\n"Linked"=dword:00000001']
    reg = os.path.join(s.temp_folder("servo-reg-"), "com5-adapter.reg")
    with open(reg, "w", newline="\r\n") as f:
        f.write("\n\n".join(sections) + "\n")
    s.run("wine", "regedit", "/S", "Z:" + reg.replace("/", "\\"), timeout=60)
    s.wait_log(r"Open_Device successfully", timeout=30)
    time.sleep(0.3)

def unplug_adapter(s):
    """The adapter's listing goes (if it was made), so that the next session starts without it."""
    s.run("wine", "reg", "delete", DEVICE_CLASSES, "/f", check_rc=False, timeout=60)

def start(s, family):
    """Program started and showing its first frame, simulator ready; returns (simulator, window)."""
    sim = Simulator(os.path.join(os.path.dirname(ARGS.simulator), "..", "servo_tool"), s.artifacts, "--family", family)
    s.cleanups += [sim.stop, lambda: unplug_adapter(s)]
    return sim, s.start_and_wait(ARGS.program, timeout=60)

def hex_bytes(line, start):
    """The hexadecimal bytes of a simulator log line from word `start` on."""
    return [int(b, 16) for b in line.split()[start:] if len(b) == 2]

def test_block_servo_window_information_and_parameter_block(s):
    sim, wid = start(s, "block")
    x, y, w, h = s.geometry(wid)
    check((w, h) == (970, 660), f"client size {w}x{h}")
    time.sleep(0.5)
    compare_with_reference(s.screenshot("main-screen", wid), "main-screen")
    plug_adapter(s, sim)
    s.click(wid, *READ_INFO)
    s.wait_prompt(wid, "提示: 舵机信息读取成功!")
    check(sim.lines("RX 8E 00 00 8E"), "no information request reached the servo")
    s.click(wid, *READ_PARAMS)
    s.wait_prompt(wid, "提示: 读取参数成功!")
    check(sim.lines("RX 81 00 00 81"), "no parameter block request reached the servo")
    read_block = hex_bytes(sim.lines("TX 26 40 ")[-1], 3)[:35]  # the frame's 35 register bytes
    s.replace_end(wid, GAIN_FIELD_END, 3, "70")
    s.click(wid, *WRITE_PARAMS)
    s.wait_prompt(wid, "提示: 写入参数成功!")
    stored = sim.lines("STORE block ")
    check(len(stored) == 1, f"block writes stored: {stored}")
    written = hex_bytes(stored[0], 2)
    # the gain edited on screen; every other byte as read, but byte 19's high nibble (Deadband2,
    # derived from Deadband1 when packing)
    check(written[0] == 70, f"gain byte {written[0]}, read {read_block[0]}")
    others = [(i, a, b) for i, (a, b) in enumerate(zip(read_block, written)) if i > 0 and a != b]
    check(len(written) == 35 and all(i == 19 and (a & 0x0F) == (b & 0x0F) for i, a, b in others),
          f"bytes changed besides the gain: {others}")
    s.screenshot("block-parameters-written", wid)

def test_register_servo_times_out_on_information_and_trades_parameters_register_by_register(s):
    sim, wid = start(s, "register")
    # the program goes on behind the About box: the adapter plugged in meanwhile is opened
    s.key(wid, "alt+slash")
    about = s.wait_window(ABOUT, visible=True)
    plug_adapter(s, sim)
    check(s.windows(ABOUT), "the About box closed by itself")
    s.screenshot("about-box")
    s.key(about, "Escape")
    s.wait_no_window(ABOUT)
    register_trade(s, sim, wid)
    # saved through the common file dialog under a name without extension (xdotool cannot type
    # letters outside wine's keyboard map, so the name is plain ASCII)
    folder = s.temp_folder("servo-save-")
    s.click(wid, *SAVE)
    s.choose_path("(Save As|另存为)", "Z:" + folder.replace("/", "\\") + "\\jvn")
    path = os.path.join(folder, "jvn.txt")
    wait_for(lambda: os.path.exists(path) and os.path.getsize(path) > 0, "the saved file")
    time.sleep(0.3)
    with open(path) as f:
        check(f.read().startswith("KP:70\nKD:50\n"), "the saved file does not carry the values on screen")

def test_missing_picture_shows_the_box_and_quits(s):
    missing_picture_quits(s, ARGS.program, timeout=60, visible=True)

if __name__ == "__main__":
    run_script(globals(), False, "--simulator", session_class=WineSession)
