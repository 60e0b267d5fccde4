#include "tests/fuzz/fuzz_support.h"

#include "common/clock.h"
#include "common/debug_log.h"
#include "common/lang.h"
#include "params/panel_fields.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/parser.h"
#include "serial/Serial.h"
#include "serial/rx_ring.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/fakes/core/fake_screen.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

/* The recording screen of the core tests (tests/fakes/core), wrapped below with checks. */
void fake_panel_fill_port(ScreenPort& port);
void fake_port_panel_fill_port(ScreenPort& port);
void fake_info_fields_fill_port(ScreenPort& port);
void fake_prompt_fill_port(ScreenPort& port);
void fake_protocol_timers_fill_port(ScreenPort& port);

namespace {

constexpr uint64_t CLOCK_START_MS = 0xFFFFFF00u; /* time-outs must hold across the 32-bit wrap */
uint64_t g_now_ms = CLOCK_START_MS;

/* Characters an information field can get from a frame: type, year, month, day. */
constexpr size_t INFO_MAX_CHARS[INFO_FIELD_COUNT] = {20, 4, 2, 2};

/* Number of characters when text is valid UTF-8 (shortest forms, no surrogates), else -1. */
long utf8_chars(const char* text) {
    long chars = 0;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p != 0; ++chars) {
        int n = *p < 0x80 ? 1 : (*p >> 5) == 6 ? 2 : (*p >> 4) == 14 ? 3 : (*p >> 3) == 30 ? 4 : 0;
        if (n == 0) return -1;
        uint32_t cp = n == 1 ? *p : *p & (0x7F >> n);
        for (int i = 1; i < n; ++i) {
            if ((p[i] & 0xC0) != 0x80) return -1;
            cp = cp << 6 | (p[i] & 0x3F);
        }
        const uint32_t least[5] = {0, 0, 0x80, 0x800, 0x10000};
        if (cp < least[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return -1;
        p += n;
    }
    return chars;
}

ScreenPort g_fakes; /* the recording screen, called after each check */

void check_prompt_text(const char* text) {
    const std::string t = text != nullptr ? text : "(null)";
    FUZZ_CHECK(text != nullptr && text[0] != '\0' && utf8_chars(text) >= 0, t);
    FUZZ_CHECK(strlen(text) < PARAM_FILE_MESSAGE_SIZE, t);
}

/* The core writes numbers into the panel, never other text. */
void checked_panel_set_text(PanelEntry entry, const char* text) {
    const std::string t = text != nullptr ? text : "(null)";
    FUZZ_CHECK(static_cast<int>(entry) >= 0 && static_cast<int>(entry) < PANEL_ENTRY_COUNT, t);
    FUZZ_CHECK(text != nullptr, t);
    const char* digits = text[0] == '-' ? text + 1 : text;
    FUZZ_CHECK(digits[0] != '\0' && strspn(digits, "0123456789") == strlen(digits) && strlen(digits) <= 10, t);
    g_fakes.panel_set_text(entry, text);
}

/* Texts from an information frame: the frame's field widths, valid UTF-8, the type cut at a blank. */
void checked_info_field_set(InfoField field, const char* text) {
    const int i = static_cast<int>(field);
    const std::string t = text != nullptr ? text : "(null)";
    FUZZ_CHECK(i >= 0 && i < INFO_FIELD_COUNT && text != nullptr, t);
    const long chars = utf8_chars(text);
    FUZZ_CHECK(chars >= 0 && static_cast<size_t>(chars) <= INFO_MAX_CHARS[i], t);
    FUZZ_CHECK(field != InfoField::Type || strchr(text, ' ') == nullptr, t);
    g_fakes.info_field_set(field, text);
}

void install_once() {
    static bool done = false;
    if (done) return;
    done = true;
    for (auto fill : {fake_panel_fill_port, fake_port_panel_fill_port, fake_info_fields_fill_port,
                      fake_prompt_fill_port, fake_protocol_timers_fill_port})
        fill(g_fakes);
    ScreenPort port = g_fakes;
    port.show_prompt = [](const char* t) { return check_prompt_text(t), g_fakes.show_prompt(t); };
    port.show_prompt_alert = [](const char* t) { return check_prompt_text(t), g_fakes.show_prompt_alert(t); };
    port.show_error = [](const char* t) { return check_prompt_text(t), g_fakes.show_error(t); };
    port.panel_set_text = checked_panel_set_text;
    port.info_field_set = checked_info_field_set;
    screen_port_set(&port);
    clock_set_source([] { return g_now_ms; });
    clock_set_sleeper([](uint32_t ms) { g_now_ms += ms; });
    dbg_log_set_sink([](const char*) {});
}

} // namespace

void fuzz_fail(const char* what, const std::string& detail) {
    fprintf(stderr, "\n== fuzz check failed: %s\n   %s\n", what, detail.c_str());
    abort();
}

void fuzz_advance_ms(uint32_t ms) {
    g_now_ms += ms;
}

void fuzz_new_run() {
    install_once();
    g_now_ms = CLOCK_START_MS;
    protocol_reset();
    params_reset();
    params_import_reset();
    rx_ring_reset();
    lang_reset();
    fake_panel_reset();
    fake_info_fields_reset();
    fake_prompts().clear();
    fake_timers_reset();
    fake_platform_reset();
    serial_ports_set_open(1);
    params_load_defaults();
    int32_t shown[PARAM_COUNT];
    memcpy(shown, params_state().defaultValues, sizeof shown);
    update_par(shown, PARAM_COUNT); /* the screen is built with the defaults in its fields */
}

void fuzz_type_entry(PanelEntry entry, const std::string& text) {
    /* Keep whole characters of the valid prefix, as the entry's text area holds them. */
    std::string typed;
    size_t chars = 0;
    for (size_t pos = 0; pos < text.size() && chars < panel_field_limits(entry).max_chars; ++chars) {
        size_t n = 1;
        while (pos + n < text.size() && (static_cast<unsigned char>(text[pos + n]) & 0xC0) == 0x80)
            ++n;
        const std::string ch = text.substr(pos, n);
        if (ch.find('\0') != std::string::npos || utf8_chars(ch.c_str()) != 1) break;
        typed += ch;
        pos += n;
    }
    fake_entry(entry) = typed;
}

size_t fuzz_prompt_count() {
    return fake_prompts().size();
}

bool fuzz_prompt_shown_since(size_t first, const char* en, const char* zh) {
    for (size_t i = first; i < fake_prompts().size(); ++i)
        if (fake_prompts()[i].text == en || fake_prompts()[i].text == zh) return true;
    return false;
}

void fuzz_check_entries(const EntryTexts& expected) {
    for (const auto& e : expected)
        FUZZ_CHECK(fake_entry(e.first) == e.second, "entry " + std::to_string(static_cast<int>(e.first)) + " shows " +
                                                        fake_entry(e.first) + ", not " + e.second);
}
