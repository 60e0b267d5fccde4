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

/* Reads a dialog template (DLGTEMPLATEEX) resource field by field. */
class DialogReader {
  public:
    explicit DialogReader(const void* data) : p_(static_cast<const uint8_t*>(data)) {}
    uint16_t word() { return take<uint16_t>(); }
    uint32_t dword() { return take<uint32_t>(); }
    int16_t coord() { return take<int16_t>(); }
    /* A text, or "#n" for an ordinal. */
    std::wstring text() {
        if (peek() == 0xFFFF) {
            word();
            return L"#" + std::to_wstring(word());
        }
        std::wstring s;
        for (uint16_t c; (c = word()) != 0;)
            s += static_cast<wchar_t>(c);
        return s;
    }
    void align4() {
        while (off_ % 4 != 0) ++off_;
    }
    void skip(size_t n) { off_ += n; }

  private:
    template <typename T> T take() {
        T v;
        memcpy(&v, p_ + off_, sizeof v);
        off_ += sizeof v;
        return v;
    }
    uint16_t peek() const {
        uint16_t v;
        memcpy(&v, p_ + off_, sizeof v);
        return v;
    }
    const uint8_t* p_;
    size_t off_ = 0;
};

struct DialogItem {
    uint32_t id;
    int16_t x, y, cx, cy;
    std::wstring text;
};

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

TEST(WinResources, about_dialog_has_its_caption_font_and_controls) {
    const HMODULE self = GetModuleHandleW(nullptr);
    const HRSRC res = FindResourceW(self, MAKEINTRESOURCEW(IDD_ABOUTBOX), RT_DIALOG);
    ASSERT_NE(res, nullptr);
    DialogReader d(LockResource(LoadResource(self, res)));
    ASSERT_EQ(d.word(), 1); /* extended template */
    ASSERT_EQ(d.word(), 0xFFFF);
    d.skip(8); /* help id, extended style */
    const uint32_t style = d.dword();
    const uint16_t count = d.word();
    const int16_t x = d.coord(), y = d.coord(), cx = d.coord(), cy = d.coord();
    EXPECT_EQ(x + y, 0);
    EXPECT_EQ(cx, 170);
    EXPECT_EQ(cy, 62);
    EXPECT_EQ(d.text(), L"") << "no menu";
    EXPECT_EQ(d.text(), L"") << "the standard dialog class";
    EXPECT_EQ(d.text(), L"关于 QRX_SERVO_TOOL_V_1_0_6");
    ASSERT_NE(style & DS_SETFONT, 0u);
    EXPECT_EQ(d.word(), 9);
    d.skip(4); /* weight, italic, character set */
    EXPECT_EQ(d.text(), L"MS Shell Dlg");

    std::vector<DialogItem> items;
    for (uint16_t i = 0; i < count; ++i) {
        d.align4();
        d.skip(12); /* help id, extended style, style */
        DialogItem item;
        item.x = d.coord();
        item.y = d.coord();
        item.cx = d.coord();
        item.cy = d.coord();
        item.id = d.dword();
        d.text(); /* class */
        item.text = d.text();
        d.skip(d.word());
        items.push_back(item);
    }
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(items[0].text, L"#" + std::to_wstring(IDI_SERVO_TOOL));
    EXPECT_EQ(items[0].x, 14);
    EXPECT_EQ(items[0].y, 14);
    EXPECT_EQ(items[1].text, L"QRX_SERVO_TOOL_V_1_0_6, 版本 1.0");
    EXPECT_EQ(items[1].x, 42);
    EXPECT_EQ(items[1].y, 14);
    EXPECT_EQ(items[2].y, 26);
    EXPECT_EQ(items[3].text, L"确定");
    EXPECT_EQ(items[3].id, static_cast<uint32_t>(IDOK));
    EXPECT_EQ(items[3].x, 113);
    EXPECT_EQ(items[3].y, 41);
    EXPECT_EQ(items[3].cx, 50);
    EXPECT_EQ(items[3].cy, 14);
}
