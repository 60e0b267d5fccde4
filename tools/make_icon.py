#!/usr/bin/python3
"""Makes the Windows program's icons from the configuration picture: the square around the servo
horn, scaled to 48, 32 and 16 pixels (the large icon) and to 16 pixels alone (the small icon).

  make_icon.py PICTURE.bin LARGE.ico SMALL.ico

Needs the system python3 with PIL.
"""
import struct
import sys

from PIL import Image

HEADER = struct.Struct("<BBHHHHH")  # LVGL 9 image file: magic, cf, flags, w, h, stride, reserved
MAGIC, CF_XRGB8888 = 0x19, 0x11
CROP = (45, 30, 205, 190)  # the horn, its arc and the servo body


def main(argv):
    if len(argv) != 4:
        sys.exit(__doc__)
    data = open(argv[1], "rb").read()
    magic, cf, _flags, w, h, stride, _res = HEADER.unpack_from(data)
    if magic != MAGIC or cf != CF_XRGB8888 or len(data) < HEADER.size + stride * h:
        sys.exit(f"{argv[1]}: not an XRGB8888 LVGL image")
    pixels = data[HEADER.size:HEADER.size + stride * h]
    img = Image.frombuffer("RGB", (w, h), pixels, "raw", "BGRX", stride, 1).crop(CROP)
    img.save(argv[2], format="ICO", sizes=[(48, 48), (32, 32), (16, 16)])
    img.resize((16, 16), Image.LANCZOS).save(argv[3], format="ICO", sizes=[(16, 16)])


if __name__ == "__main__":
    main(sys.argv)
