/* Recording port panel for the core tests; options, selection and captions behave as the
 * drop-down and the labels do. */
#include "tests/fakes/core/fake_port_panel.h"

#include "common/lang.h"
#include "serial/Serial.h"
#include "common/screen_port.h"

#include <algorithm>
#include <cstring>

FakePortPanel& fake_port_panel() {
    static FakePortPanel panel;
    return panel;
}

void fake_port_panel_reset() { fake_port_panel() = FakePortPanel{}; }

void fake_port_list_set_options(const char* options) {
    fake_port_panel().options = options != nullptr ? options : "";
    fake_port_panel().selected = 0;
}

int fake_port_list_selected() { return fake_port_panel().selected; }

void fake_port_list_select(int index) {
    if (index >= 0) fake_port_panel().selected = std::min(index, port_list_option_count() - 1);
}

/* A trailing newline adds an empty option, as in the drop-down. */
int fake_port_list_option_count() {
    const std::string& o = fake_port_panel().options;
    return 1 + static_cast<int>(std::count(o.begin(), o.end(), '\n'));
}

void fake_port_list_selected_text(char* buf, int size) {
    if (buf == nullptr || size <= 0) return;
    const std::string& o = fake_port_panel().options;
    size_t start = 0;
    for (int i = 0; i < fake_port_panel().selected && start != std::string::npos; ++i) {
        start = o.find('\n', start);
        if (start != std::string::npos) ++start;
    }
    std::string text = start == std::string::npos ? "" : o.substr(start, o.find('\n', start) - start);
    text = text.substr(0, static_cast<size_t>(size - 1));
    memcpy(buf, text.c_str(), text.size() + 1);
}

void fake_port_ui_opened() { fake_port_panel().look = FakePortPanel::Opened; }
void fake_port_ui_closed() { fake_port_panel().look = FakePortPanel::Closed; }
void fake_port_button_set_caption(const char* text) { fake_port_panel().caption = text; }

void fake_relabel_port_panel() {
    const bool zh = lang_is_chinese();
    if (serial_ports_state().isSerialOpen == 1) fake_port_panel().caption = zh ? "#000000 关闭端口#" : "#000000 Close Port#";
    else fake_port_panel().caption = zh ? "#000000 打开端口#" : "#000000 Open Port#";
}

void fake_lang_button_set_disabled(bool disabled) { fake_port_panel().lang_disabled = disabled; }

void fake_port_panel_fill_port(ScreenPort& port) {
    port.port_list_set_options = fake_port_list_set_options;
    port.port_list_selected = fake_port_list_selected;
    port.port_list_select = fake_port_list_select;
    port.port_list_option_count = fake_port_list_option_count;
    port.port_list_selected_text = fake_port_list_selected_text;
    port.port_ui_opened = fake_port_ui_opened;
    port.port_ui_closed = fake_port_ui_closed;
    port.port_button_set_caption = fake_port_button_set_caption;
    port.relabel_port_panel = fake_relabel_port_panel;
    port.lang_button_set_disabled = fake_lang_button_set_disabled;
}
