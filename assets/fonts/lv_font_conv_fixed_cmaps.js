#!/usr/bin/env node
// Runs lv_font_conv 1.5.3 with one change: instead of its own size-optimising
// cmap split (which merges and splits ranges freely), every -r argument becomes
// exactly one cmap, in the order given. A single "a-b" item gives a format-0
// range, a comma list gives a sparse list.
//
// usage: node lv_font_conv_fixed_cmaps.js LV_FONT_CONV_DIR <lv_font_conv args>
'use strict';

const path = require('path');

const convDir = path.resolve(process.argv[2]);
// Drop our own argument so the "Opts:" comment of the output shows only
// lv_font_conv's arguments.
process.argv.splice(2, 1);
const argv = process.argv.slice(2);

function parseItem(item) {
    const [ a, b ] = item.split('-').map(s => parseInt(s, 16));
    return b === undefined ? [ a ] : Array.from({ length: b - a + 1 }, (_, i) => a + i);
}

const groups = [];
for (let i = 0; i < argv.length; i++) {
    if (argv[i] !== '-r' && argv[i] !== '--range') continue;
    const items = argv[i + 1].split(',');
    groups.push({
        format: items.length === 1 && items[0].includes('-') ? 'format0_tiny' : 'sparse_tiny',
        codes: items.flatMap(parseItem)
    });
}

// Same interface as lib/font/cmap_build_subtables.js: sorted code points of
// all glyphs in, [ format, code points ] per cmap out.
function fixedSplit(allCodes) {
    const all = allCodes.slice().sort((a, b) => a - b);
    const wanted = groups.flatMap(g => g.codes);
    // Glyph ids follow code point order, so the cmaps must too.
    if (all.join() !== wanted.join()) {
        throw new Error('glyphs found differ from the -r ranges, or the ranges are not ascending');
    }
    for (const g of groups) {
        if (g.codes[g.codes.length - 1] - g.codes[0] > 0xFFFF) {
            throw new Error('a sparse list must span less than 65536 code points');
        }
    }
    return groups.map(g => [ g.format, g.codes ]);
}

const splitPath = require.resolve(path.join(convDir, 'lib/font/cmap_build_subtables.js'));
require.cache[splitPath] = { id: splitPath, filename: splitPath, loaded: true, exports: fixedSplit };

require(path.join(convDir, 'lib/cli.js')).run(argv).catch(err => {
    console.error(err.stack || err.message);
    process.exit(1);
});
