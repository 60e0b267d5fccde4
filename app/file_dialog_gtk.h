/* GTK's native file chooser as the Linux program's file dialogs (the platform port's two). */
#pragma once

#include <cstddef>

/* Asks for an existing .txt file to open: true with its path in out (cap bytes). */
bool gtk_file_dialog_open_txt(char* out, size_t cap);

/* Asks for a file name to save under (".txt" added to a bare name; with overwrite_prompt the user
 * confirms an existing file): true with the path in out. */
bool gtk_file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt);
