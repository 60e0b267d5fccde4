"""A ConfigBuffer file imported through "从PC导入参数" and the GTK file dialog, saved again through "保存参数到PC", is
the same byte for byte (repacking leaves it unchanged); every path holds blanks and Chinese characters."""

import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from x11_session import IMPORT, SAVE, check, run_script, wait_for

ARGS = None

# Block bytes 0..34 chosen so that unpacking and packing again gives the same bytes.
BLOCK = [100, 20, 15, 160, 5, 220, 3, 232, 12, 0, 8, 0, 1, 44, 4, 0x21, 0x00, 0, 200, 0x73, 0x05, 0xE4,
         120, 10, 0x00, 0x50, 0x25, 0x31, 0x13, 12, 0, 0, 0x1F, 72, 0x13]

def configbuffer_text(block):
    return "".join("ConfigBuffer[%d] = %d;\n" % (k, v) for k, v in enumerate([64] + block))

def test_import_then_save_through_the_dialogs_gives_back_the_same_file(s):
    work = s.temp_folder("servo e2e 参数 ")
    source = os.path.join(work, "in put.txt")
    saved = os.path.join(work, "saved copy.txt")
    with open(source, "w", newline="\n") as f:
        f.write(configbuffer_text(BLOCK))
    wid = s.start_and_wait(ARGS.program)
    time.sleep(0.5)
    s.click(wid, *IMPORT)
    s.choose_path("打开", source)
    s.wait_log(r"\[Prompt\] 提示: 导入成功!")  # the prompt the user sees
    s.click(wid, *SAVE)
    s.choose_path("另存为", saved)
    wait_for(lambda: os.path.exists(saved) and os.path.getsize(saved) >= 36 * 20, "the saved file")
    time.sleep(0.5)
    with open(source, "rb") as a, open(saved, "rb") as b:
        check(a.read() == b.read(), "saved file differs from the imported one")
    s.click(wid, *SAVE)  # a cancelled dialog ends nothing
    s.choose_path("另存为")
    time.sleep(0.5)
    check(s.program.poll() is None, "the program ended after a cancelled dialog")

if __name__ == "__main__":
    run_script(globals())
