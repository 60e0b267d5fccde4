/**
 * The system's file dialogs for the parameter text files, and the current directory that the
 * import and save actions keep around them. The platform provides the dialogs (on Linux GTK's
 * native file chooser, app/file_dialog_gtk.cpp); tests give a path directly.
 *
 * Both dialogs offer the filters "Text Files (*.txt)" and "All Files (*.*)", the first selected.
 * Paths are UTF-8 (the file system's own bytes on Linux).
 */
#pragma once

#include <cstddef>

/* Room for a chosen path, terminator included. A longer choice counts as no choice. */
constexpr size_t FILE_DIALOG_PATH_CAP = 4096;

/* Asks for an existing file to open. Returns true with the path in out (cap bytes); false when
 * the user cancelled or the dialog could not be shown (then logged). */
bool file_dialog_open_txt(char* out, size_t cap);

/* Asks for a file name to save under; a name typed without an extension gets ".txt". With
 * overwrite_prompt the user is asked before an existing file is chosen. Returns true with the
 * path in out; false on cancel or when the dialog could not be shown. */
bool file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt);

/* Remembers the process's current directory (one slot); returns false when it cannot be read. */
bool file_dialog_save_cwd();

/* Changes back to the remembered directory; returns false when none is remembered or the change
 * failed (logged). */
bool file_dialog_restore_cwd();
