/* The parameter panel on a headless screen: the stall levels and the entry checks. */
#include "common/lang.h"
#include "params/param_values.h"
#include "tests/support/headless.h"
#include "ui/param_panel.h"
#include "ui/screen.h"

namespace {

class ParamPanel : public ScreenFixture {
  protected:
    static std::string text(PanelEntry e) { return lv_textarea_get_text(panel_entry_widget(e)); }
    static void type(PanelEntry e, const char* t) { lv_textarea_set_text(panel_entry_widget(e), t); }
    static bool hidden(lv_obj_t* obj) { return lv_obj_has_flag(obj, LV_OBJ_FLAG_HIDDEN); }
    /* A level's six objects (two entries, their captions and hints) are hidden together. */
    static bool group_hidden(int level) {
        const int time = static_cast<int>(PanelEntry::Stall1Time) + (level - 1) * 2;
        int n = 0;
        for (int e : {time, time + 1}) {
            const PanelEntry entry = static_cast<PanelEntry>(e);
            n += hidden(panel_entry_widget(entry)) + hidden(panel_caption_widget(entry)) +
                 hidden(panel_hint_widget(entry));
        }
        EXPECT_TRUE(n == 0 || n == 6) << "level " << level << " is half hidden";
        return n == 6;
    }
    static bool checked(lv_obj_t* box) { return lv_obj_has_state(box, LV_STATE_CHECKED); }
    static bool disabled(lv_obj_t* box) { return lv_obj_has_state(box, LV_STATE_DISABLED); }
};

} // namespace

TEST_F(ParamPanel, unchecking_level_one_takes_the_later_levels_down_and_checking_it_enables_level_two) {
    int32_t v[PARAM_COUNT];
    memcpy(v, params_state().defaultValues, sizeof v);
    v[8] = 3;
    v[36] = 5;
    v[37] = 7;
    update_par(v, PARAM_COUNT);
    EXPECT_TRUE(checked(ui_level1_checkbox) && checked(ui_level2_checkbox) && checked(ui_level3_checkbox));
    EXPECT_FALSE(group_hidden(3));
    headless_click_obj(ui_level1_checkbox);
    EXPECT_FALSE(checked(ui_level1_checkbox));
    for (lv_obj_t* box : {ui_level2_checkbox, ui_level3_checkbox}) {
        EXPECT_FALSE(checked(box));
        EXPECT_TRUE(disabled(box));
    }
    EXPECT_TRUE(group_hidden(1) && group_hidden(2) && group_hidden(3));
    EXPECT_EQ(text(PanelEntry::Stall3Time), "700"); /* hidden entries keep their text */
    headless_click_obj(ui_level2_checkbox);         /* disabled: no effect */
    EXPECT_FALSE(checked(ui_level2_checkbox));
    headless_click_obj(ui_level1_checkbox);
    EXPECT_FALSE(group_hidden(1));
    EXPECT_FALSE(disabled(ui_level2_checkbox));
    EXPECT_FALSE(checked(ui_level2_checkbox));
    EXPECT_TRUE(group_hidden(2));
    EXPECT_TRUE(disabled(ui_level3_checkbox));
    headless_click_obj(ui_level2_checkbox);
    EXPECT_FALSE(group_hidden(2));
    EXPECT_FALSE(disabled(ui_level3_checkbox));
}

TEST_F(ParamPanel, out_of_range_entries_are_restored_with_an_error_box) {
    int32_t working[PARAM_COUNT] = {};
    working[5] = 3000;
    params_set_working(working);
    struct Case {
        PanelEntry entry;
        const char *typed, *shown; /* what the entry holds after the check */
        int chinese;
        const char* message; /* "" = no box */
    };
    const Case cases[] = {
        {PanelEntry::MaxAngle, "5000", "3000", 1, "请输入 0-4096 之间的数字"},         /* the working value */
        {PanelEntry::Gain, "300", "65", 0, "Please enter a number between 0 and 255"}, /* the default */
        {PanelEntry::MinAngle, "-1", "-1", 1, ""}, /* the angle check looks at 4-character texts only */
        {PanelEntry::MinPulse, "", "", 1, ""},
    };
    size_t boxes = 0;
    for (const Case& c : cases) {
        lang_set_chinese(c.chinese);
        type(c.entry, c.typed);
        EXPECT_EQ(text(c.entry), c.shown) << c.typed;
        boxes += *c.message != '\0';
        ASSERT_EQ(headless_msgboxes().size(), boxes) << c.typed;
        if (*c.message == '\0') continue;
        EXPECT_EQ(headless_msgbox_title(headless_msgboxes().back()), c.chinese ? "错误" : "Error");
        EXPECT_EQ(headless_msgbox_text(headless_msgboxes().back()), c.message);
    }
}
