#!/usr/bin/python3
"""Checks the committed fonts (no node or LVGL needed): python3 tests/test_assets.py"""
import os
import subprocess
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FONTS = os.path.join(ROOT, "assets", "fonts")
sys.path.insert(0, FONTS)
import fontset  # noqa: E402

FONTS_USED = ("font_theme", "font_button", "font_aux", "font_text")
# Characters of the program's texts; the seven left-out characters occur in some of them on purpose.
PROGRAM_TEXTS = ("舵机信息 舵机型号: 舵机版本时间: 年月日 读取信息 写入信息 串  口 打开端口 关闭端口 读取参数 写入参数 "
                 "从PC导入参数 保存参数到PC 中/EN 一级堵转 二级堵转 三级堵转 反转 提示 错误 读取参数成功! "
                 "舵机信息读取超时! 日期已自动调整为当月最后一天 必须保存为TXT文件! 月份和日期必须是两位数格式!")

class AssetTests(unittest.TestCase):
    def test_fonts_pass_the_layout_check_and_cover_the_program_texts_but_the_seven(self):
        paths = sorted({os.path.join(FONTS, fontset.font_file(n)) for n in FONTS_USED})
        result = subprocess.run([sys.executable, os.path.join(FONTS, "fontset.py"), "check",
                                 os.path.join(FONTS, "charset.txt"), *paths], capture_output=True, text=True)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        for path in paths:
            with open(path, encoding="utf-8") as f:
                chars = {c for _, cps, _ in fontset.parse_cmaps(f.read()) for c in cps}
            self.assertEqual([c for c in PROGRAM_TEXTS if ord(c) not in chars and c not in fontset.ABSENT], [], path)

if __name__ == "__main__":
    unittest.main()
