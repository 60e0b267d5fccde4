/* The common file dialogs of comdlg32 as the Windows program's file dialogs (the platform port's
 * two, common/platform.h). The header keeps <windows.h> out: the owner is a plain pointer. */
#pragma once

#include <cstddef>

/* Owner window of the dialogs (an HWND); null leaves them without owner. */
void win32_file_dialog_set_owner(void* hwnd);

/* Asks for an existing file to open ("Text Files (*.txt)" selected, "All Files (*.*)"): true with
 * its UTF-8 path in out (cap bytes). False when cancelled or when the path does not fit. */
bool win32_file_dialog_open_txt(char* out, size_t cap);

/* Asks for a file name to save under (".txt" added to a bare name); with overwrite_prompt the
 * user confirms an existing file. True with the UTF-8 path in out. */
bool win32_file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt);
