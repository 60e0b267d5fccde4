/* The serial port panel on the real screen: open/closed looks, captions in both languages, the
 * port list's options, the port button and the language button's disabled state. */
#include "common/lang.h"
#include "serial/Serial.h"
#include "serial/port_panel.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/support/headless.h"
#include "ui/screen.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

class PortPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        lang_reset();
        fake_platform_reset();
        serial_ports_reset();
        headless_new_screen();
        ASSERT_TRUE(main_ui_build());
    }
    void TearDown() override {
        serial_ports_reset();
        lang_reset();
    }
    static uint32_t bg(lv_obj_t* obj) {
        return lv_color_to_u32(lv_obj_get_style_bg_color(obj, LV_PART_MAIN)) & 0xFFFFFF;
    }
    static std::string options() { return lv_dropdown_get_options(ui_port_dropdown); }
    static void set_ports(std::initializer_list<const char*> names) {
        portCount = 0;
        for (const char* n : names) snprintf(portNames[portCount++], PORT_NAME_SIZE, "%s", n);
        autoPortIndex = portCount > 0 ? 0 : -1;
    }
};

} // namespace

TEST_F(PortPanelTest, opened_look_is_yellow_with_a_grey_locked_list_and_closed_look_undoes_it) {
    port_ui_opened();
    headless_run(500); /* state changes fade in */
    EXPECT_EQ(bg(ui_port_button), 0xE7C129u);
    EXPECT_TRUE(lv_obj_has_state(ui_port_dropdown, LV_STATE_DISABLED));
    EXPECT_EQ(bg(ui_port_dropdown), 0xE6E6E6u);

    port_ui_closed();
    headless_run(500);
    EXPECT_EQ(bg(ui_port_button), 0xFFFFFFu);
    EXPECT_FALSE(lv_obj_has_state(ui_port_dropdown, LV_STATE_DISABLED));
    lv_obj_add_state(ui_port_dropdown, LV_STATE_DISABLED);
    headless_run(500);
    EXPECT_NE(bg(ui_port_dropdown), 0xE6E6E6u) << "the grey style goes with the closed look";
}

TEST_F(PortPanelTest, captions_follow_port_state_and_language_and_the_language_button) {
    relabel_port_panel();
    EXPECT_EQ(headless_label_text(ui_port_label), "  串  口   ");
    EXPECT_EQ(headless_label_text(ui_port_button), "#000000 打开端口#");
    isSerialOpen = 1;
    relabel_port_panel();
    EXPECT_EQ(headless_label_text(ui_port_button), "#000000 关闭端口#");
    ui_language_chinese = 0;
    relabel_port_panel();
    EXPECT_EQ(headless_label_text(ui_port_label), "Serial Port");
    EXPECT_EQ(headless_label_text(ui_port_button), "#000000 Close Port#");
    isSerialOpen = 0;
    headless_click_obj(ui_lang_button); /* back to Chinese through the button */
    EXPECT_EQ(headless_label_text(ui_port_label), "  串  口   ");
    EXPECT_EQ(headless_label_text(ui_port_button), "#000000 打开端口#");
}

TEST_F(PortPanelTest, port_list_shows_each_port_then_an_empty_option_and_keeps_the_selection) {
    set_ports({"/dev/ttyUSB0", "/dev/ttyUSB1"});
    updateddListWithoutOpen();
    EXPECT_EQ(options(), "/dev/ttyUSB0\n/dev/ttyUSB1\n");
    EXPECT_EQ(lv_dropdown_get_option_count(ui_port_dropdown), 3u);

    lv_dropdown_set_selected(ui_port_dropdown, 1);
    set_ports({"/dev/ttyACM0", "/dev/ttyUSB0", "/dev/ttyUSB1"});
    updateddListWithoutOpen();
    EXPECT_EQ(lv_dropdown_get_selected(ui_port_dropdown), 2u);
    char text[64];
    port_list_selected_text(text, sizeof text);
    EXPECT_STREQ(text, "/dev/ttyUSB1");

    set_ports({"/dev/ttyACM0", "/dev/ttyUSB0"});
    updateddListWithoutOpen();
    EXPECT_EQ(lv_dropdown_get_selected(ui_port_dropdown), 0u) << "the remembered port is gone";

    set_ports({});
    updateddListWithoutOpen();
    EXPECT_EQ(options(), " ");
}

TEST_F(PortPanelTest, port_button_without_a_port_shows_the_error_box_in_the_current_language) {
    headless_click_obj(ui_port_button);
    ui_language_chinese = 0;
    headless_click_obj(ui_port_button);
    ASSERT_EQ(headless_msgbox_count(), 2);
    EXPECT_EQ(headless_msgbox_title(headless_msgbox(0)), "错误");
    EXPECT_EQ(headless_msgbox_text(headless_msgbox(0)), "打开串口失败!");
    EXPECT_EQ(headless_msgbox_text(headless_msgbox(1)), "Failed to open serial port!");
    EXPECT_EQ(isSerialOpen, 0);
}

TEST_F(PortPanelTest, language_button_is_locked_while_no_device_is_connected) {
    noDeviceFlag = 1;
    updateddListWithoutOpen();
    EXPECT_TRUE(lv_obj_has_state(ui_lang_button, LV_STATE_DISABLED));
    headless_click_obj(ui_lang_button);
    EXPECT_EQ(ui_language_chinese, 1);

    noDeviceFlag = 0;
    updateddListWithoutOpen();
    EXPECT_FALSE(lv_obj_has_state(ui_lang_button, LV_STATE_DISABLED));
    headless_click_obj(ui_lang_button);
    EXPECT_EQ(ui_language_chinese, 0);
}
