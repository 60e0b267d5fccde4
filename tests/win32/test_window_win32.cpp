/* The Windows main window (app/window_win32.cpp) under wine's null display driver, with the
 * shell and the loop it calls replaced by recorders: what the end-to-end run under wine does not
 * reach (quit requests, the key latch, input dropped while a modal box is open). And the compiled
 * resources as the window loads them: the UTF-8 texts survive the resource compiler, the
 * accelerators are character keys with Alt, the About dialog has its layout. */
#include "app/app.h"
#include "app/keypad.h"
#include "app/main_loop.h"
#include "app/resources_win32.h"
#include "app/window.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <thread>
#include <vector>

namespace {

std::wstring string_resource(UINT id) {
    const wchar_t* text = nullptr;
    const int n = LoadStringW(GetModuleHandleW(nullptr), id, reinterpret_cast<LPWSTR>(&text), 0);
    return n > 0 ? std::wstring(text, static_cast<size_t>(n)) : std::wstring();
}

std::wstring menu_text(HMENU menu, UINT item, UINT by) {
    wchar_t buf[128] = L"";
    GetMenuStringW(menu, item, buf, 128, by);
    return buf;
}

INT_PTR CALLBACK quiet_dialog_proc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }

std::wstring window_text(HWND w) {
    wchar_t buf[128] = L"";
    GetWindowTextW(w, buf, 128);
    return buf;
}

/* A control's place in dialog units. */
RECT dialog_units(HWND dialog, HWND control) {
    RECT r;
    GetWindowRect(control, &r);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&r), 2);
    RECT unit = {0, 0, 4, 8}; /* 4 x 8 dialog units are one average character */
    MapDialogRect(dialog, &unit);
    return {MulDiv(r.left, 4, unit.right), MulDiv(r.top, 8, unit.bottom), MulDiv(r.right - r.left, 4, unit.right),
            MulDiv(r.bottom - r.top, 8, unit.bottom)};
}

/* What the window handed to the shell and the loop. */
struct Calls {
    std::vector<bool> buttons;
    int moves = 0;
    std::vector<int> quits;
};
Calls g_calls;

HWND main_window() { return FindWindowW(L"QRXSERVOTOOLV106", L"QRX_SERVO_TOOL_V_1_0_7"); }

/* Handles what is waiting, several rounds: a posted message may need one to arrive. */
void pump() {
    for (int i = 0; i < 3; ++i)
        window_wait_events(0);
}

class WinWindow : public ::testing::Test {
  protected:
    void SetUp() override {
        g_calls = Calls{};
        ASSERT_EQ(window_create(), 0);
        hwnd = main_window();
        ASSERT_NE(hwnd, nullptr);
    }
    void TearDown() override {
        window_destroy();
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        }
    }
    HWND hwnd = nullptr;
};

} // namespace

/* ---- the shell and the loop, recorded ---- */

void app_on_pointer_move(int32_t, int32_t) { ++g_calls.moves; }
void app_on_pointer_button(bool pressed) { g_calls.buttons.push_back(pressed); }
void app_on_activity() {}
void app_on_about() {}
void app_on_serial_rx() {}
void app_on_expose() {}
void main_loop_quit(int code) { g_calls.quits.push_back(code); }
bool main_loop_quitting() { return false; }
void main_loop_tick_if_due() {}

/* ---- the tests ---- */

TEST_F(WinWindow, quit_requests_from_another_thread_and_the_close_box_end_the_loop_with_their_codes) {
    std::thread([] { window_post_quit(3); }).join();
    pump();
    PostMessageW(hwnd, WM_CLOSE, 0, 0);
    pump();
    EXPECT_EQ(g_calls.quits, (std::vector<int>{3, 0}));
    EXPECT_TRUE(IsWindow(hwnd)) << "the close box destroyed the window before the shell ended";
}

TEST_F(WinWindow, a_key_released_between_two_polls_is_reported_once_and_auto_repeat_is_not_a_press) {
    const KeyboardPort& kb = window_keyboard();
    PostMessageW(hwnd, WM_KEYDOWN, 'Q', 1);
    PostMessageW(hwnd, WM_KEYUP, 'Q', 1 | (1u << 30) | (1u << 31));
    pump();
    EXPECT_TRUE(kb.key_down('Q'));
    EXPECT_FALSE(kb.key_down('Q'));
    PostMessageW(hwnd, WM_KEYDOWN, 'W', 1 | (1u << 30)); /* the key was already down */
    pump();
    EXPECT_FALSE(kb.key_down('W'));
}

TEST_F(WinWindow, input_is_dropped_while_boxes_are_open_and_a_press_begun_before_is_released_after) {
    PostMessageW(hwnd, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(10, 10));
    pump();
    ASSERT_EQ(g_calls.buttons, std::vector<bool>{true});
    window_set_modal(true);
    window_set_modal(true); /* a box opened from a box */
    EXPECT_FALSE(IsWindowEnabled(hwnd));
    PostMessageW(hwnd, WM_MOUSEMOVE, 0, MAKELPARAM(20, 20));
    PostMessageW(hwnd, WM_KEYDOWN, 'A', 1);
    pump();
    window_set_modal(false);
    EXPECT_FALSE(IsWindowEnabled(hwnd)) << "the outer box is still open";
    PostMessageW(hwnd, WM_LBUTTONUP, 0, MAKELPARAM(20, 20)); /* queued, not yet handled */
    window_set_modal(false);
    EXPECT_TRUE(IsWindowEnabled(hwnd));
    pump();
    EXPECT_EQ(g_calls.moves, 0);
    EXPECT_EQ(g_calls.buttons, (std::vector<bool>{true, false})) << "one release, by the window itself";
    EXPECT_FALSE(window_keyboard().key_down('A')) << "a key pressed at a box reached the screen";
}

TEST(WinResources, title_class_and_menu_texts_are_loaded_as_written) {
    EXPECT_EQ(string_resource(IDS_APP_TITLE), L"QRX_SERVO_TOOL_V_1_0_7");
    EXPECT_EQ(string_resource(IDC_SERVO_TOOL), L"QRXSERVOTOOLV106");
    const HMENU menu = LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDC_SERVO_TOOL));
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(GetMenuItemCount(menu), 2);
    EXPECT_EQ(menu_text(menu, 0, MF_BYPOSITION), L"文件(&F)");
    EXPECT_EQ(menu_text(GetSubMenu(menu, 0), IDM_EXIT, MF_BYCOMMAND), L"退出(&X)");
    EXPECT_EQ(menu_text(menu, 1, MF_BYPOSITION), L"帮助(&H)");
    EXPECT_EQ(menu_text(GetSubMenu(menu, 1), IDM_ABOUT, MF_BYCOMMAND), L"关于(&A) ...");
    DestroyMenu(menu);
    for (int id : {IDI_SERVO_TOOL, IDI_SMALL})
        EXPECT_NE(FindResourceW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(id), RT_GROUP_ICON), nullptr) << id;
}

TEST(WinResources, alt_question_mark_and_alt_slash_open_the_about_box) {
    const HACCEL table = LoadAcceleratorsW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDC_SERVO_TOOL));
    ASSERT_NE(table, nullptr);
    ACCEL keys[4] = {};
    ASSERT_EQ(CopyAcceleratorTableW(table, keys, 4), 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(keys[i].cmd, IDM_ABOUT);
        EXPECT_EQ(keys[i].fVirt & (FALT | FVIRTKEY), FALT) << "a character key with Alt";
    }
    EXPECT_EQ(keys[0].key, '?');
    EXPECT_EQ(keys[1].key, '/');
    DestroyAcceleratorTable(table);
}

TEST(WinResources, about_dialog_has_its_caption_texts_and_ok_button) {
    const HWND dialog = CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_ABOUTBOX), nullptr,
                                           quiet_dialog_proc, 0);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(window_text(dialog), L"关于 QRX_SERVO_TOOL_V_1_0_6");
    std::vector<std::wstring> texts;
    for (HWND c = GetWindow(dialog, GW_CHILD); c != nullptr; c = GetWindow(c, GW_HWNDNEXT))
        texts.push_back(window_text(c));
    ASSERT_EQ(texts.size(), 4u);
    EXPECT_EQ(texts[1], L"QRX_SERVO_TOOL_V_1_0_6, 版本 1.0");
    EXPECT_EQ(texts[3], L"确定");
    const RECT ok = dialog_units(dialog, GetDlgItem(dialog, IDOK));
    EXPECT_EQ(ok.left, 113);
    EXPECT_EQ(ok.top, 41);
    EXPECT_EQ(ok.right, 50);
    EXPECT_EQ(ok.bottom, 14);
    DestroyWindow(dialog);
}
