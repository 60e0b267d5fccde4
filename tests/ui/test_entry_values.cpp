/* Values written into the parameter entries by an import or a read: each is checked once, whole,
 * on the real panel, so a value that does not fit never leaves a mix of two values behind. */
#include "params/param_files.h"
#include "tests/support/files.h"
#include "tests/support/headless.h"
#include "ui/param_panel.h"

using EntryValues = ScreenFixture;

TEST_F(EntryValues, an_imported_value_too_big_for_its_entry_restores_it_with_the_range_box) {
    TempDir dir;
    const std::string path = write_file(dir / "big.txt", "KP:1\nKP:1000\nOT:123456789\nDZ:100\nLS:7\n");
    ASSERT_EQ(params_import_path(path.c_str()), PARAM_FILE_OK);
    headless_run(50);
    const auto text = [](PanelEntry e) { return std::string(lv_textarea_get_text(panel_entry_widget(e))); };
    EXPECT_EQ(text(PanelEntry::Gain), "65") << "the default, not the first three digits";
    EXPECT_EQ(text(PanelEntry::Stall1Time), "300") << "the default, not a mix with the rest of the digits";
    EXPECT_EQ(text(PanelEntry::Deadband), "3");
    EXPECT_EQ(text(PanelEntry::SoftStart), "7") << "a value that fits stands";
    EXPECT_EQ(headless_msgbox_texts(), (std::vector<std::string>{"请输入 0-255 之间的数字", "请输入 0-10000 之间的数字",
                                                                 "请输入 0-13 之间的数字", "导入成功!"}));
}
