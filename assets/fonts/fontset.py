#!/usr/bin/python3
"""Helper of generate_fonts.sh: character set, typeface extraction, metric
patch and a check of the generated LVGL font sources.

  fontset.py fonts                    name, pixel size, line height, base line
  fontset.py ranges CHARSET           six lv_font_conv range arguments, one a line
  fontset.py split TTC OTF            extract Noto Sans CJK SC from the collection
  fontset.py patch FONT.c LH BL SIZE  set line_height / base_line / space width
  fontset.py alias FONT.c NAME LH BL  add font NAME: FONT.c's glyphs in another line box
  fontset.py check CHARSET FONT.c...  verify cmaps, character count, metrics
"""
import os
import re
import sys

# name: (pixel size, line height, base line).  The line heights and base
# lines are fixed by the program's layout.  The sizes are the largest at which
# ideographs and Latin descenders (g j p q y) stay inside that line box, as
# LVGL clips a label's last line at its bottom; font_theme is one smaller,
# for more air between lines.
FONTS = {
    "font_theme": (14, 17, 3),
    "font_button": (15, 19, 3),
    "font_aux": (15, 20, 3),
    "font_text": (17, 21, 4),
}

# Fonts of the same pixel size as an earlier one share its glyph data: they are written as a
# second font descriptor in that font's file, differing only in line height and base line.
ALIASES = {"font_aux": "font_button"}


def font_file(name):
    """The generated file that defines font `name`."""
    return ALIASES.get(name, name) + ".c"


# Deliberately left out of the fonts: the program shows these characters as
# blanks, and the set is kept that way.
ABSENT = "两份天对必收整"
IDEOGRAPH_COUNT = 1062
TOTAL = 1298

# Marks that start the fourth cmap, before the ideographs.
MARKS = [0x301D, 0x301E] + list(range(0x3021, 0x302A)) + [0x303E]

# Sparse second cmap: ° ℃ ← ↑ → ↓, ideographic space, 、 。 〃
SPARSE_LOW = [0x00B0, 0x2103, 0x2190, 0x2191, 0x2192, 0x2193,
              0x3000, 0x3001, 0x3002, 0x3003]


def read_ideographs(path):
    """The ideographs of charset.txt; comment lines and whitespace ignored."""
    chars = []
    with open(path, encoding="utf-8") as f:
        for line in f:
            if not line.startswith("#"):
                chars.extend(c for c in line if not c.isspace())
    if len(chars) != len(set(chars)):
        sys.exit(f"{path}: duplicate characters")
    if len(chars) != IDEOGRAPH_COUNT:
        sys.exit(f"{path}: {len(chars)} ideographs, expected {IDEOGRAPH_COUNT}")
    bad = [c for c in chars if c in ABSENT or not 0x4E00 <= ord(c) <= 0x9FFF]
    if bad:
        sys.exit(f"{path}: characters not allowed: {''.join(bad)}")
    return sorted(ord(c) for c in chars)


def groups(charset):
    """The six cmaps in order: (kind, sorted code points); kind is 'range'
    for a full contiguous range, 'sparse' for an explicit list."""
    return [
        ("range", list(range(0x20, 0x7F))),
        ("sparse", SPARSE_LOW),
        ("range", list(range(0x3005, 0x3018))),
        ("sparse", MARKS + read_ideographs(charset)),
        ("range", list(range(0xFF01, 0xFF5F))),
        ("range", list(range(0xFFE0, 0xFFE6))),
    ]


def range_arg(kind, cps):
    # A single "a-b" item makes the cmap wrapper emit a format-0 range,
    # a comma list a sparse one.
    if kind == "range":
        return f"0x{cps[0]:X}-0x{cps[-1]:X}"
    return ",".join(f"0x{c:X}" for c in cps)


def cmd_ranges(charset):
    for kind, cps in groups(charset):
        print(range_arg(kind, cps))


def cmd_split(ttc, otf):
    from fontTools.ttLib import TTCollection
    for font in TTCollection(ttc).fonts:
        if font["name"].getDebugName(6) == "NotoSansCJKsc-Regular":
            font.save(otf)
            return
    sys.exit(f"{ttc}: no NotoSansCJKsc-Regular inside")


def space_advance(size):
    """Advance of U+0020 in 1/16 px: a third of the size. The typeface's own space (0.22 em) is
    narrower than the program's layout assumes: captions such as "最小角度    " carry trailing
    blanks into which their entry field is placed 20 px back."""
    return round(size * 16 / 3)


def patch_space(text, size):
    # glyph id 1 is U+0020, the first character of the first cmap
    text, n = re.subn(r"(/\* id = 0 reserved \*/,\n    \{\.bitmap_index = 0, \.adv_w = )\d+",
                      lambda m: m.group(1) + str(space_advance(size)), text, count=1)
    if n != 1:
        sys.exit("space glyph not found")
    return text


def cmd_patch(path, line_height, base_line, size):
    text = open(path, encoding="utf-8").read()
    text = patch_space(text, int(size))
    text, n1 = re.subn(r"\.line_height = -?\d+,", f".line_height = {line_height},", text)
    text, n2 = re.subn(r"\.base_line = -?\d+,", f".base_line = {base_line},", text)
    # LVGL 9 added these two fields; lv_font_conv 1.5.3 leaves them out.  Zero
    # is right for its output (rows packed without padding, bitmaps expanded
    # to A8 before drawing), but say so explicitly.
    text, n3 = re.subn(r"(    \.bitmap_format = \d+,\n)",
                       r"\1#if LVGL_VERSION_MAJOR >= 9\n    .stride = 0,\n#endif\n", text)
    text, n4 = re.subn(r"(    \.user_data = NULL,\n)",
                       r"\1#if LVGL_VERSION_MAJOR >= 9\n    .static_bitmap = 0,\n#endif\n", text)
    if (n1, n2, n3, n4) != (1, 1, 1, 1):
        sys.exit(f"{path}: expected fields not found")
    open(path, "w", encoding="utf-8").write(text)


ALIAS_MARK = "/* ---- fonts sharing these glyphs ---- */"


def cmd_alias(path, name, line_height, base_line):
    """Adds (or rewrites) font `name` in `path`: the same glyph data (font_dsc) in another line
    box, so a second pixel-identical font costs no second copy of the bitmaps."""
    text = open(path, encoding="utf-8").read()
    if ALIAS_MARK in text:  # drop an earlier alias, keep the closing #endif
        head, tail = text.split("\n" + ALIAS_MARK, 1)
        text = head + tail[tail.index("\n#endif"):]
    m = re.search(r"const lv_font_t (\w+) = \{\n(.*?)\n\};", text, re.S)
    end = text.rfind("\n#endif")
    if m is None or end < 0:
        sys.exit(f"{path}: no font descriptor")
    body = re.sub(r"^#else\n.*?\n#endif\n", "", m.group(2), flags=re.S)  # the LVGL 7 spelling
    body = re.sub(r"\.line_height = \d+,", f".line_height = {line_height},", body)
    body = re.sub(r"\.base_line = \d+,", f".base_line = {base_line},", body)
    alias = (f"\n{ALIAS_MARK}\n\n/* {name}: the glyphs of {m.group(1)} in a line of {line_height} px */\n"
             f"const lv_font_t {name} = {{\n{body}\n}};\n")
    open(path, "w", encoding="utf-8").write(text[:end] + alias + text[end:])


def parse_cmaps(text):
    """(range_start, code points, type) of each cmap entry of a generated font."""
    lists = {m.group(1): [int(v, 16) for v in re.findall(r"0x[0-9a-fA-F]+", m.group(2))]
             for m in re.finditer(r"unicode_list_(\d+)\[\] = \{(.*?)\};", text, re.S)}
    cmaps = []
    for m in re.finditer(r"\.range_start = (\d+), \.range_length = (\d+), .*?"
                         r"\.unicode_list = (\w+), .*?\.list_length = (\d+), "
                         r"\.type = (\w+)", text, re.S):
        start, length, ulist, count, ctype = m.groups()
        start = int(start)
        if ulist == "NULL":
            cps = list(range(start, start + int(length)))
        else:
            cps = [start + v for v in lists[ulist.rsplit("_", 1)[1]]]
            assert len(cps) == int(count)
        cmaps.append((start, cps, ctype.replace("LV_FONT_FMT_TXT_CMAP_", "")))
    return cmaps


def cmd_check(charset, paths):
    expected = groups(charset)
    ok = True
    seen = set()
    for path in paths:
        text = open(path, encoding="utf-8").read().split("\n" + ALIAS_MARK)[0]
        cmaps = parse_cmaps(text)
        got = [cps for _, cps, _ in cmaps]
        errors = []
        if got != [cps for _, cps in expected]:
            errors.append("cmap layout differs from the six expected ranges")
        for (kind, _), (_, _, ctype) in zip(expected, cmaps):
            if ctype != ("FORMAT0_TINY" if kind == "range" else "SPARSE_TINY"):
                errors.append(f"unexpected cmap type {ctype}")
        allcps = {c for cps in got for c in cps}
        if len(allcps) != TOTAL or sum(map(len, got)) != TOTAL:
            errors.append(f"{len(allcps)} characters, expected {TOTAL}")
        present = [c for c in ABSENT if ord(c) in allcps]
        if present:
            errors.append("must be absent: " + "".join(present))
        glyphs = len(re.findall(r"\{\.bitmap_index = ", text))
        if glyphs != TOTAL + 1:  # glyph 0 is LVGL's reserved empty glyph
            errors.append(f"{glyphs} glyph descriptors, expected {TOTAL + 1}")
        full = open(path, encoding="utf-8").read()
        metrics = []
        for name, body in re.findall(r"const lv_font_t (\w+) = \{(.*?)\n\};", full, re.S):
            lh = int(re.search(r"\.line_height = (\d+)", body).group(1))
            bl = int(re.search(r"\.base_line = (\d+)", body).group(1))
            metrics.append(f"{name} {lh}/{bl}")
            seen.add(name)
            if name not in FONTS or FONTS[name][1:] != (lh, bl) or font_file(name) != os.path.basename(path):
                errors.append(f"{name}: unexpected name, metrics or file")
        layout = " ".join(f"U+{s:04X}:{len(c)}" for s, c, _ in cmaps)
        print(f"{path}: {', '.join(metrics)} (line height/base line), {len(allcps)} chars, cmaps {layout}")
        for e in errors:
            print(f"  ERROR: {e}")
        ok = ok and not errors
    missing = sorted(set(FONTS) - seen)
    if missing:
        print("  ERROR: fonts defined nowhere: " + ", ".join(missing))
        ok = False
    sys.exit(0 if ok else 1)


if __name__ == "__main__":
    cmd, args = sys.argv[1], sys.argv[2:]
    if cmd == "fonts":  # the fonts to convert, then the ones sharing their glyphs
        for name, (size, lh, bl) in FONTS.items():
            print(name, size, lh, bl, ALIASES.get(name, "-"))
    elif cmd == "ranges":
        cmd_ranges(*args)
    elif cmd == "split":
        cmd_split(*args)
    elif cmd == "patch":
        cmd_patch(*args)
    elif cmd == "alias":
        cmd_alias(*args)
    elif cmd == "check":
        cmd_check(args[0], args[1:])
    else:
        sys.exit(__doc__)
