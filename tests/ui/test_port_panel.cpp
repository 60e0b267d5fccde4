/* The serial port panel on the real screen: open/closed looks, the open port's caption, the port
 * list's options and selection, the port button without a port, the language button's lock. */
#include "common/lang.h"
#include "common/screen_port.h"
#include "serial/Serial.h"
#include "serial/discovery.h"
#include "tests/support/headless.h"
#include "ui/screen.h"

namespace {

class PortPanelTest : public ScreenFixture {
  protected:
    static uint32_t bg(lv_obj_t* obj) {
        headless_run(500); /* state changes fade in */
        return lv_color_to_u32(lv_obj_get_style_bg_color(obj, LV_PART_MAIN)) & 0xFFFFFF;
    }
    static void show_ports(std::initializer_list<const char*> names) {
        std::vector<std::string> found(names.begin(), names.end());
        discovery_fill_port_table(found);
        updateddListWithoutOpen();
    }
};

} // namespace

TEST_F(PortPanelTest, opened_look_is_yellow_with_a_grey_locked_list_and_closed_look_undoes_it) {
    port_ui_opened();
    EXPECT_EQ(bg(ui_port_button), 0xE7C129u);
    EXPECT_TRUE(lv_obj_has_state(ui_port_dropdown, LV_STATE_DISABLED));
    EXPECT_EQ(bg(ui_port_dropdown), 0xE6E6E6u);
    port_ui_closed();
    EXPECT_EQ(bg(ui_port_button), 0xFFFFFFu);
    EXPECT_FALSE(lv_obj_has_state(ui_port_dropdown, LV_STATE_DISABLED));
    lv_obj_add_state(ui_port_dropdown, LV_STATE_DISABLED);
    EXPECT_NE(bg(ui_port_dropdown), 0xE6E6E6u) << "the grey style goes with the closed look";
}

TEST_F(PortPanelTest, port_list_shows_each_port_then_an_empty_option_and_keeps_the_selection) {
    show_ports({"/dev/ttyUSB0", "/dev/ttyUSB1"});
    EXPECT_STREQ(lv_dropdown_get_options(ui_port_dropdown), "/dev/ttyUSB0\n/dev/ttyUSB1\n");
    EXPECT_EQ(lv_dropdown_get_option_count(ui_port_dropdown), 3u);
    lv_dropdown_set_selected(ui_port_dropdown, 1);
    show_ports({"/dev/ttyACM0", "/dev/ttyUSB0", "/dev/ttyUSB1"});
    EXPECT_EQ(lv_dropdown_get_selected(ui_port_dropdown), 2u);
    char text[64];
    port_list_selected_text(text, sizeof text);
    EXPECT_STREQ(text, "/dev/ttyUSB1");
    show_ports({"/dev/ttyACM0", "/dev/ttyUSB0"});
    EXPECT_EQ(lv_dropdown_get_selected(ui_port_dropdown), 0u) << "the remembered port is gone";
    show_ports({});
    EXPECT_STREQ(lv_dropdown_get_options(ui_port_dropdown), " ");
}

TEST_F(PortPanelTest, port_button_without_a_port_shows_the_error_box_in_the_current_language) {
    headless_click_obj(ui_port_button);
    lang_set_chinese(0);
    headless_click_obj(ui_port_button);
    EXPECT_EQ(headless_msgbox_texts(), (std::vector<std::string>{"打开串口失败!", "Failed to open serial port!"}));
    EXPECT_EQ(headless_msgbox_title(headless_msgboxes().at(0)), "错误");
    EXPECT_EQ(serial_ports_state().isSerialOpen, 0);
}
