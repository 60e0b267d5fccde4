/* The three prompt boxes: titles by language, red text for alerts and errors, none replacing
 * another, cut texts, closing. */
#include "common/lang.h"
#include "common/prompt.h"
#include "tests/support/headless.h"

namespace {

class PromptTest : public ::testing::Test {
  protected:
    void SetUp() override {
        lang_reset();
        headless_new_screen();
    }
    void TearDown() override { lang_reset(); }
};

} // namespace

TEST_F(PromptTest, boxes_have_their_title_by_language_and_red_text_for_alerts_and_errors) {
    const struct {
        prompt_box_t (*show)(const char*);
        int chinese;
        const char* title;
        bool red;
    } cases[] = {{show_prompt, 1, "提示", false},
                 {show_error, 1, "错误", true},
                 {show_prompt_alert, 0, "Prompt", true},
                 {show_error, 0, "Error", true}};
    for (const auto& c : cases) {
        lang_set_chinese(c.chinese);
        lv_obj_t* box = static_cast<lv_obj_t*>(c.show("text"));
        EXPECT_EQ(headless_msgbox_title(box), c.title);
        EXPECT_EQ(headless_msgbox_text(box), "text");
        lv_obj_t* label = lv_obj_get_child(lv_msgbox_get_content(box), 0);
        const uint32_t colour = lv_color_to_u32(lv_obj_get_style_text_color(label, LV_PART_MAIN)) & 0xFFFFFF;
        EXPECT_EQ(colour == 0xCA1515u, c.red) << c.title << " " << std::hex << colour;
    }
    headless_run(20);
    EXPECT_EQ(headless_msgboxes().size(), 4u) << "none blocks or replaces another";
}

TEST_F(PromptTest, long_text_is_cut_to_1023_bytes_on_a_character_boundary) {
    std::string text = "a";
    while (text.size() < 1500)
        text += "舵机"; /* 3-byte characters after one byte: 1023 falls mid-character */
    const std::string shown = headless_msgbox_text(static_cast<lv_obj_t*>(show_prompt(text.c_str())));
    EXPECT_EQ(shown, text.substr(0, 1 + 340 * 3));
}

TEST_F(PromptTest, the_close_button_and_prompt_close_remove_a_box) {
    lv_obj_t* first = static_cast<lv_obj_t*>(show_prompt("one"));
    prompt_close(show_prompt_alert("two"));
    headless_run(20);
    ASSERT_EQ(headless_msgboxes().size(), 1u);
    prompt_close(nullptr);
    headless_click_obj(lv_obj_get_child(lv_msgbox_get_header(first), -1));
    EXPECT_TRUE(headless_msgboxes().empty());
}
