#!/usr/bin/env bash
# Regenerates the four CJK bitmap fonts (font_theme.c, font_button.c,
# font_text.c) from Noto Sans CJK SC with lv_font_conv 1.5.3. font_aux has font_button's pixel
# size: it is written into font_button.c as a second descriptor of the same glyph data.
#
# Needs: node/npm, /usr/bin/python3 with fontTools (Debian python3-fonttools),
# the Debian package fonts-noto-cjk.  Work files go to $FONT_BUILD_DIR
# (default /tmp/font-build); nothing there is committed.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
build=${FONT_BUILD_DIR:-/tmp/font-build}
ttc=${NOTO_CJK_TTC:-/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc}
py=/usr/bin/python3   # the system python has Debian's fontTools
conv="$build/node_modules/lv_font_conv"

mkdir -p "$build"

# Pinned converter, installed locally so the output does not drift.
if [[ "$(node -p "require('$conv/package.json').version" 2>/dev/null)" != 1.5.3 ]]; then
    npm install --no-save --no-audit --no-fund --prefix "$build" lv_font_conv@1.5.3
fi

# lv_font_conv cannot read .ttc collections: extract the SC face.
otf="$build/NotoSansCJKsc-Regular.otf"
[[ -s "$otf" ]] || "$py" "$here/fontset.py" split "$ttc" "$otf"

# Six -r arguments, one per cmap, in the fixed order.
ranges=()
while IFS= read -r r; do ranges+=(-r "$r"); done < <("$py" "$here/fontset.py" ranges "$here/charset.txt")

# One conversion per font; sizes and fixed metrics come from fontset.py.
aliases=()
while read -r name size line_height base_line shares; do
    if [[ "$shares" != - ]]; then
        aliases+=("$here/$shares.c $name $line_height $base_line")
        continue
    fi
    out="$here/$name.c"
    # Run inside the build dir with relative paths: the command line is
    # recorded in the output's header comment.
    (cd "$build" && node "$here/lv_font_conv_fixed_cmaps.js" "$conv" \
        --font "$(basename "$otf")" "${ranges[@]}" --size "$size" --bpp 4 \
        --no-compress --no-kerning --format lvgl \
        --lv-include lvgl.h --lv-font-name "$name" -o "$name.c" </dev/null)
    mv "$build/$name.c" "$out"
    # lv_font_conv writes the typeface's own metrics; the program needs fixed ones.
    "$py" "$here/fontset.py" patch "$out" "$line_height" "$base_line" "$size"
done < <("$py" "$here/fontset.py" fonts)

for a in "${aliases[@]}"; do
    # shellcheck disable=SC2086
    "$py" "$here/fontset.py" alias $a
done

"$py" "$here/fontset.py" check "$here/charset.txt" "$here"/font_{theme,button,text}.c
