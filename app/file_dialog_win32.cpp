/**
 * File dialogs on Windows: GetOpenFileNameW / GetSaveFileNameW.
 *  - filters "Text Files (*.txt)" (selected) and "All Files (*.*)";
 *  - a file name buffer of 260 characters (MAX_PATH);
 *  - open: explorer style, the file and its path must exist;
 *  - save: default extension "txt", the path must exist, the overwrite question on request.
 * The chosen path is handed out as UTF-8.
 */
#include "app/file_dialog_win32.h"

#include "common/debug_log.h"
#include "common/utf16_win32.h"

#include <windows.h>

#include <commdlg.h>

namespace {

constexpr DWORD FILE_NAME_CHARS = 260;
const wchar_t TXT_FILTER[] = L"Text Files (*.txt)\0*.txt\0All Files (*.*)\0*.*\0";

HWND g_owner = nullptr;

OPENFILENAMEW dialog_setup(wchar_t* file, DWORD flags) {
    OPENFILENAMEW ofn = {};
    ofn.lStructSize = sizeof ofn;
    ofn.hwndOwner = g_owner;
    ofn.lpstrFilter = TXT_FILTER;
    ofn.nFilterIndex = 1;
    ofn.lpstrFile = file;
    ofn.nMaxFile = FILE_NAME_CHARS;
    ofn.Flags = flags;
    return ofn;
}

/* The dialog's answer as UTF-8; a refusal other than cancel is logged. */
bool dialog_result(BOOL chosen, const wchar_t* file, char* out, size_t cap) {
    if (!chosen) {
        const DWORD error = CommDlgExtendedError(); /* 0: the user cancelled */
        if (error != 0) dbg_log("[Error] file dialog failed, error=0x%lX\n", error);
        return false;
    }
    if (!utf8_from_utf16(file, out, cap)) {
        dbg_log("[Error] file dialog: the chosen path does not fit\n");
        return false;
    }
    return true;
}

} // namespace

void win32_file_dialog_set_owner(void* hwnd) { g_owner = static_cast<HWND>(hwnd); }

bool win32_file_dialog_open_txt(char* out, size_t cap) {
    if (out == nullptr || cap == 0) return false;
    wchar_t file[FILE_NAME_CHARS] = L"";
    OPENFILENAMEW ofn = dialog_setup(file, OFN_EXPLORER | OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST);
    return dialog_result(GetOpenFileNameW(&ofn), file, out, cap);
}

bool win32_file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt) {
    if (out == nullptr || cap == 0) return false;
    wchar_t file[FILE_NAME_CHARS] = L"";
    OPENFILENAMEW ofn = dialog_setup(file, OFN_PATHMUSTEXIST | (overwrite_prompt ? OFN_OVERWRITEPROMPT : 0));
    ofn.lpstrDefExt = L"txt";
    return dialog_result(GetSaveFileNameW(&ofn), file, out, cap);
}
