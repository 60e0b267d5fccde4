/**
 * LVGL configuration of the servo tool.
 *
 * Only the settings that differ from LVGL's defaults are listed; everything else comes from
 * lv_conf_internal.h. The same library build serves the program and the headless tests.
 */
#ifndef LV_CONF_H
#define LV_CONF_H

/* The window's back buffer is 32-bit XRGB8888, the pixel layout of the platform surface. */
#define LV_COLOR_DEPTH 32

/* Plain C library allocation: no fixed pool to size, and the sanitizer builds see every block. */
#define LV_USE_STDLIB_MALLOC LV_STDLIB_CLIB
#define LV_USE_STDLIB_STRING LV_STDLIB_CLIB
#define LV_USE_STDLIB_SPRINTF LV_STDLIB_CLIB

/* One UI thread does everything; the program sleeps through the OS, never through LVGL. */
#define LV_USE_OS LV_OS_NONE

#define LV_DEF_REFR_PERIOD 33
#define LV_DPI_DEF 130

/* An allocation failure ends the program instead of spinning forever. */
#define LV_ASSERT_HANDLER_INCLUDE <stdlib.h>
#define LV_ASSERT_HANDLER abort();

/* Montserrat 18: stepper arrows and the shared text style; 22: the prompt close button. */
#define LV_FONT_MONTSERRAT_14 1
#define LV_FONT_MONTSERRAT_18 1
#define LV_FONT_MONTSERRAT_22 1

/* The configuration picture is opened by its bare file name from the working directory. */
#define LV_USE_FS_STDIO 1
#define LV_FS_STDIO_LETTER 'A'
#define LV_FS_STDIO_PATH ""
#define LV_FS_STDIO_CACHE_SIZE 0
#define LV_FS_DEFAULT_DRIVER_LETTER 'A'
#define LV_BIN_DECODER_RAM_LOAD 1
/* Keep the decoded picture in memory: without a cache every redraw (a blinking cursor is
 * enough) reads the file again. */
#define LV_CACHE_DEF_SIZE (512 * 1024)
#define LV_IMAGE_HEADER_CACHE_DEF_CNT 8

/* Every frame is drawn whole (full-screen render mode), so what the software renderer computes
 * for each frame is worth keeping: the blurred corner of the buttons' shadow (all buttons share
 * one size of corner) and the anti-aliased circle masks of the rounded fields, buttons and boxes
 * (more radii than LVGL's default of 4 entries). Both caches give the same pixels. */
#define LV_DRAW_SW_SHADOW_CACHE_SIZE 32
#define LV_DRAW_SW_CIRCLE_CACHE_SIZE 16

/* Each frame reads hundreds of style properties per widget; most are set by no style at all. The
 * cache (a bit per property and widget) answers those at once. */
#define LV_OBJ_STYLE_CACHE 1

#define LV_USE_DEMO_WIDGETS 0
#define LV_BUILD_EXAMPLES 0
#define LV_BUILD_DEMOS 0

#endif /*LV_CONF_H*/
