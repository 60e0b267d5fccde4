/* The recording screen (fake_screen.h). */
#include "tests/fakes/core/fake_screen.h"

#include "common/clock.h"
#include "common/lang.h"
#include "params/panel_model.h"
#include "serial/Serial.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {
prompt_box_t record(FakePrompt::Kind kind, const char* text) {
    fake_prompts().push_back({kind, text ? text : "", false});
    return reinterpret_cast<prompt_box_t>(static_cast<uintptr_t>(fake_prompts().size()));
}

int copy_out(const std::string& text, char* out, size_t cap) {
    snprintf(out, cap, "%s", text.c_str());
    return static_cast<int>(strlen(out));
}
} // namespace

void fake_screen_reset() {
    fake_panel_reset();
    fake_info_fields_reset();
    fake_port_panel_reset();
    fake_prompts().clear();
    fake_timers_reset();
}

std::vector<std::string> prompt_texts() {
    std::vector<std::string> out;
    for (const FakePrompt& p : fake_prompts())
        out.push_back(p.text);
    return out;
}

prompt_box_t fake_show_prompt(const char* text) { return record(FakePrompt::Prompt, text); }
prompt_box_t fake_show_prompt_alert(const char* text) { return record(FakePrompt::Alert, text); }
prompt_box_t fake_show_error(const char* text) { return record(FakePrompt::Error, text); }

void fake_prompt_fill_port(ScreenPort& port) {
    port.show_prompt = fake_show_prompt;
    port.show_prompt_alert = fake_show_prompt_alert;
    port.show_error = fake_show_error;
    port.prompt_close = [](prompt_box_t box) {
        const uintptr_t n = reinterpret_cast<uintptr_t>(box);
        if (n >= 1 && n <= fake_prompts().size()) fake_prompts()[n - 1].closed = true;
    };
}

void fake_panel_set_text(PanelEntry entry, const char* text) {
    fake_entry(entry) = text != nullptr ? text : "";
    ++fake_panel().writes;
}

void fake_panel_fill_port(ScreenPort& port) {
    port.panel_set_text = fake_panel_set_text;
    port.panel_get_text = [](PanelEntry e, char* out, size_t cap) { return copy_out(fake_entry(e), out, cap); };
    port.panel_set_checked = [](PanelCheck check, bool checked) {
        fake_checked(check) = checked;
        ++fake_panel().writes;
    };
    port.panel_get_checked = [](PanelCheck check) { return fake_checked(check); };
    port.panel_set_check_enabled = [](PanelCheck c, bool on) { fake_panel().enabled[static_cast<int>(c)] = on; };
    port.panel_show_level = [](int level, bool shown) {
        fake_panel().level_shown[level - 1] = shown;
        ++fake_panel().writes;
    };
    port.panel_redraw = [] { ++fake_panel().redraws; };
}

void fake_info_field_set(InfoField field, const char* text) {
    fake_info(field) = text != nullptr ? text : "";
    ++fake_info_fields().writes;
}

void fake_info_fields_fill_port(ScreenPort& port) {
    port.info_field_get = [](InfoField f, char* out, size_t cap) {
        return fake_info_fields().available[static_cast<int>(f)] ? copy_out(fake_info(f), out, cap) : -1;
    };
    port.info_field_set = fake_info_field_set;
}

void fake_port_panel_fill_port(ScreenPort& port) {
    port.port_list_set_options = [](const char* options) {
        fake_port_panel().options = options != nullptr ? options : "";
        fake_port_panel().selected = 0;
    };
    port.port_list_selected = [] { return fake_port_panel().selected; };
    port.port_list_select = [](int index) {
        if (index >= 0) fake_port_panel().selected = std::min(index, port_list_option_count() - 1);
    };
    port.port_list_option_count = [] {
        const std::string& o = fake_port_panel().options;
        return 1 + static_cast<int>(std::count(o.begin(), o.end(), '\n')); /* a last '\n' adds an empty one */
    };
    port.port_list_selected_text = [](char* buf, int size) { /* the port checks buf and size */
        const std::string o = fake_port_panel().options + "\n";
        size_t start = 0;
        for (int i = 0; i < fake_port_panel().selected; ++i) /* below the option count: port_list_select */
            start = o.find('\n', start) + 1;
        snprintf(buf, static_cast<size_t>(size), "%s", o.substr(start, o.find('\n', start) - start).c_str());
    };
    port.port_ui_opened = [] { fake_port_panel().look = FakePortPanel::Opened; };
    port.port_ui_closed = [] { fake_port_panel().look = FakePortPanel::Closed; };
    port.port_button_set_caption = [](const char* text) { fake_port_panel().caption = text; };
    port.relabel_port_panel = [] {
        const bool open = serial_ports_state().isSerialOpen == 1;
        fake_port_panel().caption = lang_is_chinese() ? (open ? "#000000 关闭端口#" : "#000000 打开端口#")
                                                      : (open ? "#000000 Close Port#" : "#000000 Open Port#");
    };
    port.lang_button_set_disabled = [](bool disabled) { fake_port_panel().lang_disabled = disabled; };
}

int fake_timers_alive() {
    int n = 0;
    for (const auto& t : fake_timers().timers)
        n += t->alive ? 1 : 0;
    return n;
}

void fake_timer_fire(protocol_timer_t timer) {
    auto* t = static_cast<FakeTimer*>(timer);
    if (t == nullptr || !t->alive || t->cb == nullptr) return;
    t->last_run_ms = clock_ms();
    ++t->fired;
    t->cb(timer);
}

void fake_protocol_timers_fill_port(ScreenPort& port) {
    port.timer_start = [](uint32_t period_ms, protocol_timer_cb cb) -> protocol_timer_t {
        if (std::exchange(fake_timers().fail_next_start, false)) return nullptr;
        auto t = std::make_unique<FakeTimer>(FakeTimer{period_ms, cb, clock_ms() - period_ms - 1});
        fake_timers().timers.push_back(std::move(t));
        return fake_timers().timers.back().get();
    };
    port.timer_delete = [](protocol_timer_t timer) {
        if (timer != nullptr) static_cast<FakeTimer*>(timer)->alive = false;
    };
}

void fake_screen_install(bool headless_panel) {
    ScreenPort port = {};
    fake_panel_fill_port(port);
    fake_port_panel_fill_port(port);
    fake_info_fields_fill_port(port);
    fake_prompt_fill_port(port);
    fake_protocol_timers_fill_port(port);
    if (headless_panel) panel_model_fill_port(port);
    screen_port_set(&port);
}

namespace {
const bool g_installed = (fake_screen_install(), true);
} // namespace
