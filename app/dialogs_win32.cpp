/**
 * Modal boxes on Windows (the contract is app/dialogs.h).
 *
 * Implements:
 *  - message boxes: MessageBoxW with the UTF-16 texts, the icon and one OK button, owned by the
 *    main window once it is shown (before that, as at start-up, without owner);
 *  - the About box: dialog 103 of the resources (DialogBoxW) owned by the main window;
 *  - the two file dialogs of app/file_dialog_win32.h with the main window as owner.
 * The system runs each box's modal loop; timer 1 of the main window still reaches the window
 * procedure there, which keeps the tick running, and a quit request ends the loop (WM_QUIT).
 * While a box is open the main window takes no input (window_set_modal).
 */
#include "app/dialogs.h"

#include "app/file_dialog_win32.h"
#include "app/main_loop.h"
#include "app/resources_win32.h"
#include "app/window.h"
#include "app/window_win32.h"
#include "common/debug_log.h"
#include "common/utf16_win32.h"

#include <string>

namespace {

UINT icon_flag(MsgBoxIcon icon) {
    switch (icon) {
    case MsgBoxIcon::Error: return MB_ICONERROR;
    case MsgBoxIcon::Exclamation: return MB_ICONEXCLAMATION;
    case MsgBoxIcon::Information: break;
    }
    return MB_ICONINFORMATION;
}

INT_PTR CALLBACK about_dialog_proc(HWND dialog, UINT msg, WPARAM wp, LPARAM) {
    switch (msg) {
    case WM_INITDIALOG:
        return TRUE;
    case WM_COMMAND:
        if (LOWORD(wp) == IDOK || LOWORD(wp) == IDCANCEL) {
            EndDialog(dialog, LOWORD(wp));
            return TRUE;
        }
        break;
    default:
        break;
    }
    return FALSE;
}

/* A box is not opened once the program is quitting: it would close at once anyway. */
bool may_open(const char* what) {
    if (!main_loop_quitting()) return true;
    dbg_log("[Warning] %s not shown: quitting\n", what);
    return false;
}

} // namespace

void dialog_message_box(const char* text, const char* caption, MsgBoxIcon icon) {
    if (text == nullptr || caption == nullptr || !may_open("message box")) return;
    const std::wstring wide_text = utf16_from_utf8(text);
    const std::wstring wide_caption = utf16_from_utf8(caption);
    window_set_modal(true);
    if (MessageBoxW(window_win32_owner(), wide_text.c_str(), wide_caption.c_str(), MB_OK | icon_flag(icon)) == 0)
        dbg_log("[Error] MessageBoxW failed, error=%lu\n", GetLastError());
    window_set_modal(false);
}

void dialog_about_box() {
    if (!may_open("About box")) return;
    window_set_modal(true);
    if (DialogBoxW(window_win32_instance(), MAKEINTRESOURCEW(IDD_ABOUTBOX), window_win32_owner(), about_dialog_proc) ==
        -1)
        dbg_log("[Error] DialogBoxW failed, error=%lu\n", GetLastError());
    window_set_modal(false);
}

bool dialog_file_open_txt(char* out, size_t cap) {
    if (out == nullptr || cap == 0) return false;
    out[0] = '\0';
    if (!may_open("file dialog")) return false;
    win32_file_dialog_set_owner(window_win32_owner());
    window_set_modal(true);
    const bool chosen = win32_file_dialog_open_txt(out, cap);
    window_set_modal(false);
    return chosen && !main_loop_quitting();
}

bool dialog_file_save_txt(char* out, size_t cap, bool overwrite_prompt) {
    if (out == nullptr || cap == 0) return false;
    out[0] = '\0';
    if (!may_open("file dialog")) return false;
    win32_file_dialog_set_owner(window_win32_owner());
    window_set_modal(true);
    const bool chosen = win32_file_dialog_save_txt(out, cap, overwrite_prompt);
    window_set_modal(false);
    return chosen && !main_loop_quitting();
}
