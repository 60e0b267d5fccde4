#!/usr/bin/python3
"""Draws the configuration picture shown at the top left of the main window:
how the PWM pulse width maps to the servo's minimum, middle and maximum angle.
Writes it as an LVGL 9 binary image file (XRGB8888).

  make_config_picture.py [OUT.bin] [--png PREVIEW.png]
  make_config_picture.py --check FILE.bin      print and verify the header

Needs the system python3 with PIL and the Debian package fonts-noto-cjk.
"""
import math
import struct
import sys

from PIL import Image, ImageDraw, ImageFont

W, H = 250, 200
SCALE = 4  # shapes are drawn 4x larger and scaled down, for smooth edges

# LVGL 9 image file: lv_image_header_t, then the rows of pixels.
MAGIC = 0x19                 # LV_IMAGE_HEADER_MAGIC
CF_XRGB8888 = 0x11           # LV_COLOR_FORMAT_XRGB8888: the display's own format,
STRIDE = W * 4               # so the bin decoder's pixels need no conversion
HEADER = struct.Struct("<BBHHHHH")  # magic, cf, flags, w, h, stride, reserved

BLACK, WHITE, GREY = (0, 0, 0), (255, 255, 255), (110, 110, 110)
MIN_C, MID_C, MAX_C = (79, 195, 247), (129, 199, 132), (255, 183, 77)

FONT_FILE = "/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc"
FONT_INDEX = 2  # Noto Sans CJK SC, the typeface of the program's own fonts

# Horn pivot and the three angle marks (degrees from straight up, clockwise).
CX, CY, R = 125, 118, 66
MARKS = [(-60, MIN_C, "MinAngle"), (0, MID_C, "MidAngle"), (60, MAX_C, "MaxAngle")]
# Pulse-width axis: its y, and the x of the three widths under their angles.
AXIS_Y = 160
TICKS = [(38, MIN_C, "1000us"), (125, MID_C, "1500us"), (212, MAX_C, "2000us")]


def polar(deg, r):
    a = math.radians(deg)
    return CX + r * math.sin(a), CY - r * math.cos(a)


def draw_shapes():
    img = Image.new("RGB", (W * SCALE, H * SCALE), BLACK)
    d = ImageDraw.Draw(img)

    def s(*pts):  # picture coordinates to the enlarged canvas
        return [v * SCALE for v in pts]

    def line(p, q, fill, width):
        d.line(s(*p, *q), fill=fill, width=round(width * SCALE))

    # Travel arc from MinAngle to MaxAngle (PIL angles: 0 = east, clockwise).
    d.arc(s(CX - R, CY - R, CX + R, CY + R), start=-150, end=-30,
          fill=GREY, width=2 * SCALE)
    # Servo body and output shaft.
    d.rounded_rectangle(s(CX - 26, CY - 8, CX + 26, CY + 22), radius=3 * SCALE,
                        fill=(45, 55, 70), outline=GREY, width=SCALE)
    # Horn: solid at the middle position, faint at both end positions.
    for deg, colour, _ in MARKS:
        faint = tuple(c // 3 for c in colour)
        line((CX, CY), polar(deg, R - 14), colour if deg == 0 else faint, 5 if deg == 0 else 3)
        line(polar(deg, R - 6), polar(deg, R + 6), colour, 3)
    d.ellipse(s(CX - 6, CY - 6, CX + 6, CY + 6), fill=WHITE)
    d.ellipse(s(CX - 2, CY - 2, CX + 2, CY + 2), fill=(45, 55, 70))
    # Rotation arrows at both ends of the arc.
    for deg, sign in ((-52, -1), (52, 1)):
        tip = polar(deg + sign * 6, R)
        for side in (-1, 1):
            back = polar(deg - sign * 2, R + side * 5)
            line(tip, back, GREY, 2)

    # Pulse-width axis with an arrow head, coloured ticks.
    line((16, AXIS_Y), (236, AXIS_Y), WHITE, 1.5)
    line((236, AXIS_Y), (230, AXIS_Y - 4), WHITE, 1.5)
    line((236, AXIS_Y), (230, AXIS_Y + 4), WHITE, 1.5)
    for x, colour, _ in TICKS:
        line((x, AXIS_Y - 6), (x, AXIS_Y + 6), colour, 2.5)
    return img.resize((W, H), Image.LANCZOS)


def draw_picture():
    img = draw_shapes()
    d = ImageDraw.Draw(img)
    small = ImageFont.truetype(FONT_FILE, 12, index=FONT_INDEX)
    title = ImageFont.truetype(FONT_FILE, 13, index=FONT_INDEX)

    d.text((W // 2, 2), "PWM signal \u2192 servo angle", font=title, fill=WHITE, anchor="ma")
    for (deg, colour, name), (x, _, _) in zip(MARKS, TICKS):
        px, py = polar(deg, R + 10)
        # End labels sit beside the arc ends, the middle one above the arc.
        anchor = "md" if deg == 0 else ("rm" if deg < 0 else "lm")
        if deg:
            px, py = px + (-2 if deg < 0 else 2), py - 8
        d.text((px, py), name, font=small, fill=colour, anchor=anchor)
    for x, colour, label in TICKS:
        d.text((x, AXIS_Y + 8), label, font=small, fill=colour, anchor="ma")
    d.text((W // 2, H - 1), "PWM pulse width", font=small, fill=WHITE, anchor="md")
    return img


def to_lvgl_bin(img):
    # XRGB8888 in memory (little endian) is B, G, R, X; X is ignored, set to 0xFF.
    r, g, b = img.convert("RGB").split()
    x = Image.new("L", img.size, 255)
    pixels = Image.merge("RGBA", (b, g, r, x)).tobytes()
    return HEADER.pack(MAGIC, CF_XRGB8888, 0, W, H, STRIDE, 0) + pixels


def check(path):
    """Re-reads a written file: header fields and data length."""
    with open(path, "rb") as f:
        data = f.read()
    magic, cf, flags, w, h, stride, reserved = HEADER.unpack_from(data)
    print(f"{path}: magic 0x{magic:02X} cf 0x{cf:02X} flags {flags} {w}x{h} "
          f"stride {stride}, {len(data)} bytes")
    ok = ((magic, cf, flags, w, h, stride, reserved) ==
          (MAGIC, CF_XRGB8888, 0, W, H, STRIDE, 0)
          and len(data) == HEADER.size + stride * h)
    return ok


def main(argv):
    if argv[:1] == ["--check"]:
        return 0 if all(check(p) for p in argv[1:]) else 1
    out, png = "assets/QRX_V107_config.bin", None
    if "--png" in argv:
        i = argv.index("--png")
        png = argv[i + 1]
        del argv[i:i + 2]
    if argv:
        out = argv[0]
    img = draw_picture()
    with open(out, "wb") as f:
        f.write(to_lvgl_bin(img))
    if png:
        img.save(png)
    return 0 if check(out) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
