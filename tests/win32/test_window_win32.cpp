/* The Windows main window (app/window_win32.cpp) under wine's null display driver, with the
 * shell and the loop it calls replaced by recorders: what the end-to-end run under wine does not
 * reach (quit requests, the key latch, input dropped while a modal box is open). And the compiled
 * resources as the window loads them. */
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

std::wstring menu_text(HMENU menu, UINT item, UINT by) {
    wchar_t buf[128] = L"";
    GetMenuStringW(menu, item, buf, 128, by);
    return buf;
}

/* What the window handed to the shell and the loop. */
struct Calls {
    std::vector<bool> buttons;
    int moves = 0;
    std::vector<int> quits;
};
Calls g_calls;

HWND main_window() {
    return FindWindowW(L"QRXSERVOTOOLV106", L"QRX_SERVO_TOOL_V_1_0_7");
}

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

void app_on_pointer_move(int32_t, int32_t) {
    ++g_calls.moves;
}
void app_on_pointer_button(bool pressed) {
    g_calls.buttons.push_back(pressed);
}
void app_on_activity() {}
void app_on_about() {}
void app_on_serial_rx() {}
void app_on_expose() {}
void main_loop_quit(int code) {
    g_calls.quits.push_back(code);
}
bool main_loop_quitting() {
    return false;
}
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

/* The window is found by its class and title in every case above, and the wine session opens the
 * About box by its caption with Alt+/: what is left are the menu's Chinese texts through the
 * resource compiler, Alt+? and the icons. */
TEST(WinResources, menu_texts_survive_the_resource_compiler_and_both_alt_keys_open_the_about_box) {
    const HMODULE self = GetModuleHandleW(nullptr);
    const HMENU menu = LoadMenuW(self, MAKEINTRESOURCEW(IDC_SERVO_TOOL));
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(menu_text(menu, 0, MF_BYPOSITION) + menu_text(GetSubMenu(menu, 0), IDM_EXIT, MF_BYCOMMAND) +
                  menu_text(menu, 1, MF_BYPOSITION) + menu_text(GetSubMenu(menu, 1), IDM_ABOUT, MF_BYCOMMAND),
              L"文件(&F)退出(&X)帮助(&H)关于(&A) ...");
    DestroyMenu(menu);
    for (int id : {IDI_SERVO_TOOL, IDI_SMALL})
        EXPECT_NE(FindResourceW(self, MAKEINTRESOURCEW(id), RT_GROUP_ICON), nullptr) << id;
    const HACCEL table = LoadAcceleratorsW(self, MAKEINTRESOURCEW(IDC_SERVO_TOOL));
    ACCEL keys[4] = {};
    ASSERT_EQ(CopyAcceleratorTableW(table, keys, 4), 2);
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(keys[i].cmd == IDM_ABOUT && (keys[i].fVirt & (FALT | FVIRTKEY)) == FALT && keys[i].key == "?/"[i])
            << i;
    DestroyAcceleratorTable(table);
}
