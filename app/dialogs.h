/**
 * The platform's modal boxes: system message boxes, the About box and the two file dialogs
 * (app/dialogs_gtk.cpp on Linux). Each returns when the user closes it; while it is open the
 * main window takes no input and the program keeps running (main_loop_pump). A box also closes
 * (as if cancelled) when the program is asked to quit meanwhile.
 */
#pragma once

#include "common/platform.h"

#include <cstddef>

/* A message box with caption, text, icon and one "确定" button (Enter or Escape close it). */
void dialog_message_box(const char* text, const char* caption, MsgBoxIcon icon);

/* The About box: caption APP_ABOUT_CAPTION, the two lines APP_ABOUT_LINE1/2, "确定". */
void dialog_about_box();

/* Asks for an existing file to open (filters "Text Files (*.txt)", "All Files (*.*)"): true
 * with its UTF-8 path in out (cap bytes); false on cancel or a path longer than cap - 1. */
bool dialog_file_open_txt(char* out, size_t cap);

/* Asks for a file name to save under, same filters, ".txt" added to a bare name; with
 * overwrite_prompt the user confirms an existing file. True with the path in out. */
bool dialog_file_save_txt(char* out, size_t cap, bool overwrite_prompt);
