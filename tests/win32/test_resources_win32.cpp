/* The compiled resources as the window will load them: the UTF-8 texts survive the resource
 * compiler, the accelerators are character keys with Alt, the About dialog has its layout. */
#include "app/resources_win32.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>
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

} // namespace

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
