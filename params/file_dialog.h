/**
 * The system's file dialogs for the parameter text files, and the current directory that the
 * import and save actions keep around them. The platform provides the dialogs (on Linux GTK's
 * native file chooser, app/dialogs_gtk.cpp; on Windows the common dialogs,
 * app/file_dialog_win32.cpp); tests give a path directly.
 *
 * Both dialogs offer the filters "Text Files (*.txt)" and "All Files (*.*)", the first selected.
 * Paths are UTF-8 (the file system's own bytes on Linux, converted from UTF-16 on Windows);
 * common/file_open.h opens them.
 */
#pragma once

#include "common/platform.h" /* file_dialog_open_txt, file_dialog_save_txt */

#include <cstddef>

/* Room for a chosen path, terminator included. A longer choice counts as no choice. */
constexpr size_t FILE_DIALOG_PATH_CAP = 4096;

/* Remembers the process's current directory (one slot); returns false when it cannot be read. */
bool file_dialog_save_cwd();

/* Changes back to the remembered directory; returns false when none is remembered or the change
 * failed (logged). */
bool file_dialog_restore_cwd();
