/* Values written into the parameter entries by an import or a read: each is checked once, whole,
 * on the real panel, so a value that does not fit never leaves a mix of two values behind. */
#include "common/lang.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/parser.h"
#include "tests/support/files.h"
#include "tests/support/headless.h"
#include "ui/param_panel.h"
#include "ui/screen.h"

#include <gtest/gtest.h>

TEST(EntryValues, an_imported_value_too_big_for_its_entry_restores_it_with_the_range_box) {
    params_reset();
    params_import_reset();
    protocol_reset();
    lang_reset();
    headless_new_screen();
    ASSERT_TRUE(main_ui_build());
    TempDir dir;
    const std::string path = write_file(dir / "big.txt", "KP:1\nKP:1000\nOT:123456789\nDZ:100\nLS:7\n");
    ASSERT_EQ(params_import_path(path.c_str()), PARAM_FILE_OK);
    headless_run(50);
    const auto text = [](PanelEntry e) { return std::string(lv_textarea_get_text(panel_entry_widget(e))); };
    EXPECT_EQ(text(PanelEntry::Gain), "65") << "the default, not the first three digits";
    EXPECT_EQ(text(PanelEntry::Stall1Time), "300") << "the default, not a mix with the rest of the digits";
    EXPECT_EQ(text(PanelEntry::Deadband), "3");
    EXPECT_EQ(text(PanelEntry::SoftStart), "7") << "a value that fits stands";
    std::vector<std::string> boxes;
    for (int i = 0; i < headless_msgbox_count(); ++i)
        boxes.push_back(headless_msgbox_text(headless_msgbox(i)));
    EXPECT_EQ(boxes, (std::vector<std::string>{"请输入 0-255 之间的数字", "请输入 0-10000 之间的数字",
                                               "请输入 0-13 之间的数字", "导入成功!"}));
}
