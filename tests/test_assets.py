#!/usr/bin/python3
"""Checks the committed fonts and picture (no node or LVGL needed).

  python3 tests/test_assets.py
"""
import os
import subprocess
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FONTS = os.path.join(ROOT, "assets", "fonts")
sys.path.insert(0, FONTS)
sys.path.insert(0, os.path.join(ROOT, "tools"))
import fontset  # noqa: E402
import make_config_picture as picture  # noqa: E402

FONTS_USED = ("font_theme", "font_button", "font_aux", "font_text")
CHARSET = os.path.join(FONTS, "charset.txt")

# A sample of the program's texts; the seven left-out characters occur in
# some of them on purpose.
PROGRAM_TEXTS = [
    "舵机信息", "舵机型号:", "舵机版本时间:", "年", "月", "日", "读取信息", "写入信息",
    "串  口", "打开端口", "关闭端口", "读取参数", "写入参数", "从PC导入参数", "保存参数到PC",
    "中/EN", "一级堵转", "二级堵转", "三级堵转", "反转", "提示", "错误",
    "读取参数成功!", "舵机信息读取超时!", "日期已自动调整为当月最后一天",
    "必须保存为TXT文件!", "月份和日期必须是两位数格式!",
]

def font_path(name):
    return os.path.join(FONTS, fontset.font_file(name))

def read(path, mode="r"):
    with open(path, mode, **({} if "b" in mode else {"encoding": "utf-8"})) as f:
        return f.read()

def run_check(*paths):
    return subprocess.run([sys.executable, os.path.join(FONTS, "fontset.py"), "check",
                           CHARSET, *paths], capture_output=True, text=True)

class FontTests(unittest.TestCase):
    def test_committed_fonts_pass_the_layout_check(self):
        result = run_check(*sorted(set(map(font_path, FONTS_USED))))
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_all_fonts_share_one_character_set_covering_the_program_texts_but_the_seven(self):
        sets = [[cps for _, cps, _ in fontset.parse_cmaps(read(font_path(n)))] for n in FONTS_USED]
        self.assertTrue(all(s == sets[0] for s in sets))
        chars = {c for cps in sets[0] for c in cps}
        for s in PROGRAM_TEXTS:
            self.assertEqual([c for c in s if ord(c) not in chars and c not in fontset.ABSENT], [], s)
        self.assertFalse({ord(c) for c in fontset.ABSENT} & chars)

class PictureTests(unittest.TestCase):
    path = os.path.join(ROOT, "assets", "QRX_V107_config.bin")

    def test_a_250_by_200_black_panel_with_drawing(self):
        self.assertTrue(picture.check(self.path))
        data = read(self.path, "rb")
        # Byte layout of lv_image_header_t on a little-endian machine.
        self.assertEqual(data[:12], bytes([0x19, 0x11, 0, 0, 250, 0, 200, 0, 0xE8, 0x03, 0, 0]))
        data = data[12:]
        pixels = [data[i:i + 3] for i in range(0, len(data), 4)]  # B, G, R
        self.assertEqual(pixels[0], b"\0\0\0")  # corner matches the black panel
        self.assertEqual(set(data[3::4]), {0xFF})
        lit = sum(1 for p in pixels if max(p) > 128)
        self.assertGreater(lit, 1000)  # something is drawn, not a blank frame

if __name__ == "__main__":
    unittest.main()
