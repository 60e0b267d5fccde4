#include "cli/cli_session.h"

#include "cli/cli_platform.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "common/lang.h"
#include "common/platform.h"
#include "params/panel_model.h"
#include "params/param_values.h"
#include "protocol/parser.h"
#include "serial/comHandle.h"
#include "serial/rx_ring.h"

#include <cstdio>
#include <cstring>
#include <list>

namespace {

struct Timer {
    uint32_t period_ms;
    protocol_timer_cb cb;
    uint32_t due_ms;
    bool alive;
};

constexpr uint32_t GATED_WAIT_MS = 1; /* how often a held timer looks again */

struct Session {
    std::vector<Message> messages;
    std::list<Timer> timers; /* a list: handles stay valid while others come and go */
    uint32_t last_timer_ms = 0;
    uint64_t bytes_received = 0;
    bool (*gate)() = nullptr;
    uint32_t max_hold_ms = 0;
    std::string info[INFO_FIELD_COUNT];
    std::string port_options;
    int port_selected = 0;
    std::string dialog_path;
};
Session g_session;

prompt_box_t add_message(MessageKind kind, const char* text) {
    g_session.messages.push_back({kind, text != nullptr ? text : ""});
    return reinterpret_cast<prompt_box_t>(g_session.messages.size()); /* any non-null token */
}

prompt_box_t on_prompt(const char* text) {
    return add_message(MessageKind::Prompt, text);
}
prompt_box_t on_alert(const char* text) {
    return add_message(MessageKind::Alert, text);
}
prompt_box_t on_error(const char* text) {
    return add_message(MessageKind::Error, text);
}
void on_prompt_close(prompt_box_t) {}

int field_index(InfoField field) {
    const int i = static_cast<int>(field);
    return i >= 0 && i < INFO_FIELD_COUNT ? i : -1;
}

int info_get(InfoField field, char* out, size_t cap) {
    const int i = field_index(field);
    if (i < 0 || out == nullptr || cap == 0) return -1;
    snprintf(out, cap, "%s", g_session.info[i].c_str());
    return static_cast<int>(strlen(out));
}

void info_set(InfoField field, const char* text) {
    const int i = field_index(field);
    if (i >= 0 && text != nullptr) g_session.info[i] = text;
}

/* Port list: the options as the window's drop-down holds them. */
void port_set_options(const char* options) {
    g_session.port_options = options != nullptr ? options : "";
    g_session.port_selected = 0;
}
int port_option_count() {
    int n = 1;
    for (char c : g_session.port_options)
        n += c == '\n' ? 1 : 0;
    return n;
}
int port_selected() {
    return g_session.port_selected;
}
void port_select(int index) {
    const int last = port_option_count() - 1;
    g_session.port_selected = index < 0 ? 0 : (index > last ? last : index);
}
void port_selected_text(char* buf, int size) {
    const std::string& o = g_session.port_options;
    size_t start = 0;
    for (int i = 0; i < g_session.port_selected && start != std::string::npos; ++i) {
        start = o.find('\n', start);
        if (start != std::string::npos) ++start;
    }
    std::string text = start == std::string::npos ? "" : o.substr(start, o.find('\n', start) - start);
    snprintf(buf, static_cast<size_t>(size), "%s", text.c_str());
}

protocol_timer_t timer_start(uint32_t period_ms, protocol_timer_cb cb) {
    g_session.timers.push_back({period_ms, cb, clock_ms32(), true}); /* due with the next turn */
    return &g_session.timers.back();
}

void timer_delete(protocol_timer_t timer) {
    for (Timer& t : g_session.timers)
        if (&t == timer) t.alive = false;
}

void message_box(const char* text, const char* caption, MsgBoxIcon) {
    std::string line = caption != nullptr ? caption : "";
    add_message(MessageKind::SystemBox, (line + ": " + (text != nullptr ? text : "")).c_str());
}

const char* user_language() {
    return "en_US";
}

bool dialog_answer(char* out, size_t cap) {
    if (g_session.dialog_path.empty() || g_session.dialog_path.size() >= cap) return false;
    memcpy(out, g_session.dialog_path.c_str(), g_session.dialog_path.size() + 1);
    return true;
}
bool dialog_open(char* out, size_t cap) {
    return dialog_answer(out, cap);
}
bool dialog_save(char* out, size_t cap, bool) {
    return dialog_answer(out, cap);
}

void count_and_parse(uint8_t byte) {
    ++g_session.bytes_received;
    process_servo_info_data(byte);
}

void log_to_stderr(const char* line) {
    fputs(line, stderr);
}
void log_nowhere(const char*) {}

/* True once the clock has reached t (wrap-safe on the low 32 bits). */
bool reached(uint32_t now, uint32_t t) {
    return static_cast<int32_t>(now - t) >= 0;
}

/* Runs the timers that are due, each once; one started by a callback waits for the next turn. */
void run_timers() {
    const uint32_t now = clock_ms32();
    size_t n = g_session.timers.size();
    for (auto it = g_session.timers.begin(); n > 0; ++it, --n) {
        Timer& t = *it;
        if (!t.alive || !reached(now, t.due_ms)) continue;
        if (g_session.gate != nullptr && !g_session.gate() && now - t.due_ms < g_session.max_hold_ms) continue;
        t.due_ms += t.period_ms; /* keeps the period over a sequence; no burst after a stall */
        if (reached(now, t.due_ms)) t.due_ms = now + t.period_ms;
        g_session.last_timer_ms = now;
        t.cb(&t);
    }
    g_session.timers.remove_if([](const Timer& t) { return !t.alive; });
}

uint32_t next_timer_wait(uint32_t max_wait_ms) {
    const uint32_t now = clock_ms32();
    uint32_t wait = max_wait_ms;
    for (const Timer& t : g_session.timers) {
        if (!t.alive) continue;
        if (reached(now, t.due_ms)) return g_session.gate != nullptr && !g_session.gate() ? GATED_WAIT_MS : 0;
        if (t.due_ms - now < wait) wait = t.due_ms - now;
    }
    return wait;
}

} // namespace

void session_start(bool verbose) {
    dbg_log_set_sink(verbose ? log_to_stderr : log_nowhere);
    cli_wakeup_init();

    ScreenPort screen = {};
    screen.show_prompt = on_prompt;
    screen.show_prompt_alert = on_alert;
    screen.show_error = on_error;
    screen.prompt_close = on_prompt_close;
    panel_model_fill_port(screen);
    screen.info_field_get = info_get;
    screen.info_field_set = info_set;
    screen.port_list_set_options = port_set_options;
    screen.port_list_selected = port_selected;
    screen.port_list_select = port_select;
    screen.port_list_option_count = port_option_count;
    screen.port_list_selected_text = port_selected_text;
    screen.timer_start = timer_start;
    screen.timer_delete = timer_delete;
    screen_port_set(&screen);

    PlatformPort platform = {};
    platform.message_box = message_box;
    platform.post_serial_rx = cli_wakeup_post;
    platform.user_language = user_language;
    platform.file_dialog_open_txt = dialog_open;
    platform.file_dialog_save_txt = dialog_save;
    platform_port_set(&platform);

    lang_reset();
    lang_set_chinese(0); /* the English texts of every message */
    params_load_defaults();
    params_startup_registers();
    panel_model_reset();
    protocol_reset();
}

const std::vector<Message>& session_messages() {
    return g_session.messages;
}

size_t session_mark() {
    return g_session.messages.size();
}

void session_forget_messages() {
    g_session.messages.clear();
}

bool session_prompt_since(size_t mark) {
    for (size_t i = mark; i < g_session.messages.size(); ++i)
        if (g_session.messages[i].kind == MessageKind::Prompt) return true;
    return false;
}

const Message* session_error_since(size_t mark) {
    for (size_t i = mark; i < g_session.messages.size(); ++i) {
        const MessageKind k = g_session.messages[i].kind;
        if (k == MessageKind::Error || k == MessageKind::SystemBox) return &g_session.messages[i];
    }
    return nullptr;
}

void session_replace_text(size_t mark, const std::string& from, const std::string& to) {
    if (from.empty()) return;
    for (size_t i = mark; i < g_session.messages.size(); ++i) {
        std::string& text = g_session.messages[i].text;
        for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
            text.replace(at, from.size(), to);
    }
}

size_t session_print_since(size_t mark) {
    static const char* const TITLES[] = {"Prompt", "Prompt", "Error", ""};
    for (size_t i = mark; i < g_session.messages.size(); ++i) {
        const Message& m = g_session.messages[i];
        std::string text = m.text;
        for (char& c : text)
            if (c == '\n') c = ' ';
        if (m.kind == MessageKind::SystemBox)
            fprintf(stderr, "%s\n", text.c_str());
        else
            fprintf(stderr, "%s: %s\n", TITLES[static_cast<int>(m.kind)], text.c_str());
    }
    return g_session.messages.size();
}

void session_pump(uint32_t max_wait_ms) {
    cli_wakeup_wait(next_timer_wait(max_wait_ms));
    /* Every turn takes what the port holds, woken or not: a reply already received must reach
     * the parser before the next register request goes out (it enters the echo table, and the
     * reply's first byte would then pass for that request's echo), however late the notifier
     * thread runs on a busy machine. */
    rx_take_received(count_and_parse);
    run_timers();
}

void session_set_timer_gate(bool (*ready)(), uint32_t max_hold_ms) {
    g_session.gate = ready;
    g_session.max_hold_ms = max_hold_ms;
}

uint64_t session_bytes_received() {
    return g_session.bytes_received;
}

bool session_timers_running() {
    for (const Timer& t : g_session.timers)
        if (t.alive) return true;
    return false;
}

void session_timers_clear() {
    g_session.timers.clear();
}

uint32_t session_last_timer_ms() {
    return g_session.last_timer_ms;
}

void session_info_set(InfoField field, const char* text) {
    info_set(field, text);
}

std::string session_info_get(InfoField field) {
    const int i = field_index(field);
    return i >= 0 ? g_session.info[i] : std::string();
}

void session_set_dialog_path(const char* path) {
    g_session.dialog_path = path != nullptr ? path : "";
}
